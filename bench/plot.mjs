// A line plot with logarithmic axes, as SVG.

const kWidth = 640;
const kHeight = 360;
const kMargin = { left: 70, right: 120, top: 40, bottom: 46 };
const kColors = ["#0b66c3", "#c3420b", "#2a8a3a", "#7a4bc2"];

const escape = (text) => text.replace(/[&<>]/g, (c) => `&#${c.charCodeAt(0)};`);

// The powers of ten that enclose all figures.
function decades(figures) {
  const low = Math.floor(Math.log10(Math.min(...figures)));
  const high = Math.max(Math.ceil(Math.log10(Math.max(...figures))), low + 1);
  return { low, high };
}

function scale({ low, high }, from, to) {
  return (value) => from + ((Math.log10(value) - low) / (high - low)) * (to - from);
}

function ticks({ low, high }) {
  return Array.from({ length: high - low + 1 }, (_, i) => low + i);
}

const label = (power) => (power >= 0 && power < 4 ? `${10 ** power}` : `1e${power}`);

const kBottom = kHeight - kMargin.bottom;
const kRight = kWidth - kMargin.right;

function gridX(range, toX) {
  return ticks(range).map((power) => {
    const at = toX(10 ** power);
    return (
      `<path d="M${at} ${kMargin.top}V${kBottom}" stroke="#ddd"/>` +
      `<text x="${at}" y="${kBottom + 16}" text-anchor="middle">${label(power)}</text>`
    );
  });
}

function gridY(range, toY) {
  return ticks(range).map((power) => {
    const at = toY(10 ** power);
    return (
      `<path d="M${kMargin.left} ${at}H${kRight}" stroke="#ddd"/>` +
      `<text x="${kMargin.left - 6}" y="${at + 4}" text-anchor="end">${label(power)}</text>`
    );
  });
}

function curve({ name, points }, color, toX, toY) {
  const places = points.map(([x, y]) => [toX(x).toFixed(1), toY(y).toFixed(1)]);
  const [lastX, lastY] = points.at(-1);
  return (
    `<path d="M${places.map((place) => place.join(" ")).join("L")}" fill="none" stroke="${color}" stroke-width="2"/>` +
    places.map(([x, y]) => `<circle cx="${x}" cy="${y}" r="3" fill="${color}"/>`).join("") +
    `<text x="${toX(lastX) + 8}" y="${toY(lastY) + 4}" fill="${color}">${escape(name)}</text>`
  );
}

// `series`: names, and points [x, y] of positive numbers. `x` and `y` name the axes.
export function linePlot({ title, x, y, series }) {
  const drawn = series.filter((each) => each.points.length > 0);
  if (drawn.length === 0) return `<svg xmlns="http://www.w3.org/2000/svg"/>`;
  const points = drawn.flatMap((each) => each.points);
  const xs = decades(points.map(([value]) => value));
  const ys = decades(points.map(([, value]) => value));
  const toX = scale(xs, kMargin.left, kRight);
  const toY = scale(ys, kBottom, kMargin.top);
  return [
    `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${kWidth} ${kHeight}" font-family="sans-serif" font-size="12">`,
    `<rect width="${kWidth}" height="${kHeight}" fill="#fff"/>`,
    `<text x="${kMargin.left}" y="24" font-size="14">${escape(title)}</text>`,
    ...gridX(xs, toX),
    ...gridY(ys, toY),
    `<text x="${(kMargin.left + kRight) / 2}" y="${kHeight - 10}" text-anchor="middle">${escape(x)}</text>`,
    `<text transform="translate(16 ${(kMargin.top + kBottom) / 2}) rotate(-90)" text-anchor="middle">${escape(y)}</text>`,
    ...drawn.map((each, i) => curve(each, kColors[i % kColors.length], toX, toY)),
    "</svg>",
    "",
  ].join("\n");
}
