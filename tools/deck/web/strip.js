// Draws a dial's segment of the touch strip: turns a layout and the feedback that fills it into a
// description of an SVG. This module knows nothing of the page.

export const kWidth = 200;
export const kHeight = 100;
export const kFont = "Arial, 'Liberation Sans', 'DejaVu Sans', sans-serif";

const kTextSize = 16;
const kTextWeight = 600;
const kBarHeight = 10;
const kBarBorder = 2;
const kAnchors = { left: "start", center: "middle", right: "end" };

const node = (tag, attributes, ...children) => ({ tag, attributes, children });

// Draws a face. `measure(text, size, weight)` is the width of a text in px, `prefix` makes the ids
// within the SVG unique on the page. Returns the `nodes`, the `text` to be read, and `problems`
// that the author of the layout should know of.
export function describeStrip(face, { measure, prefix }) {
  const items = Array.isArray(face.layout.items) ? face.layout.items : [];
  const drawing = { measure, changed: face.changed, problems: [] };
  const shown = items
    .filter((item) => isSound(item, drawing.problems))
    .map((item) => filled(item, face.feedback[item.key]))
    .filter((item) => item.enabled !== false)
    .sort((a, b) => numberOr(a.zOrder, 0) - numberOr(b.zOrder, 0));
  // An empty value for an item that the layout lacks is no fault: a title that is short empties the
  // rest of the ten lines, whatever lines the layout has.
  const strays = Object.keys(face.feedback).filter(
    (key) => face.feedback[key].value !== "" && !items.some((item) => item?.key === key),
  );
  if (strays.length > 0) drawing.problems.push(`Not in the layout: ${strays.join(", ")}`);
  return {
    nodes: shown.map((item, index) => drawItem(item, `${prefix}-${index}`, drawing)),
    text: shown
      .filter((item) => item.type === "text" && textOf(item))
      .map(textOf)
      .join(", "),
    problems: drawing.problems,
  };
}

function isSound(item, problems) {
  const [x, y, width, height] = Array.isArray(item?.rect) ? item.rect : [];
  const isInside = x >= 0 && y >= 0 && x + width <= kWidth && y + height <= kHeight;
  if (!(item?.type in kPainters)) problems.push(`Item "${item?.key}" has no known type.`);
  else if (!isInside) problems.push(`Item "${item.key}" isn't inside the strip.`);
  else return true;
  return false;
}

// Fills an item with its feedback, which can't change the item's key, type and place.
function filled(item, given = {}) {
  const { key, type, rect } = item;
  return { ...item, ...given, font: { ...item.font, ...given.font }, key, type, rect };
}

// Draws an item as an SVG within the SVG, which has a place of its own and cuts off whatever
// doesn't fit.
function drawItem(item, id, drawing) {
  const [x, y, width, height] = item.rect;
  const ground = makePaint(item.background, "none", `${id}-ground`, width);
  return node(
    "svg",
    { "data-item": item.key, x, y, width, height, opacity: numberOr(item.opacity, 1) },
    ...ground.definitions,
    node("rect", { width, height, fill: ground.fill }),
    ...kPainters[item.type](item, { width, height, id }, drawing),
  );
}

const kPainters = { text: drawText, pixmap: drawPixmap, bar: drawBar, gbar: drawMarkedBar };

function drawText(item, { width, height, id }, { measure }) {
  const size = numberOr(item.font.size, kTextSize);
  const weight = numberOr(item.font.weight, kTextWeight);
  const widthOf = (text) => measure(text, size, weight);
  const isLong = widthOf(textOf(item)) > width;
  const overflow = item["text-overflow"] ?? "ellipsis";
  const fades = isLong && overflow === "fade";
  const paint = makePaint(item.color, "white", `${id}-text`, width, fades);
  const anchor = fades ? "start" : (kAnchors[item.alignment] ?? "middle");
  const isCut = isLong && overflow === "ellipsis";
  const text = isCut ? shorten(textOf(item), width, widthOf) : textOf(item);
  return [
    ...paint.definitions,
    node(
      "text",
      {
        x: { start: 0, middle: width / 2, end: width }[anchor],
        // The middle of capitals and digits is about a third of the size above the baseline.
        y: height / 2 + size * 0.36,
        "text-anchor": anchor,
        "font-size": size,
        "font-weight": weight,
        "font-family": kFont,
        fill: paint.fill,
      },
      text,
    ),
  ];
}

function textOf(item) {
  return item.value === undefined || item.value === null ? "" : String(item.value);
}

function shorten(text, width, widthOf) {
  const letters = [...text];
  while (letters.length > 0 && widthOf(`${letters.join("")}…`) > width) letters.pop();
  return `${letters.join("")}…`;
}

function drawPixmap(item, { width, height }, { changed }) {
  const href = pixmapAddress(textOf(item), changed[item.key] ?? 0);
  return href ? [node("image", { href, width, height })] : [];
}

// The address of a picture. It ends in the revision, because a file may change under the same name,
// and the browser would show the one that it has kept.
function pixmapAddress(value, revision) {
  if (value === "" || value.startsWith("data:")) return value;
  if (value.trimStart().startsWith("<")) return `data:image/svg+xml,${encodeURIComponent(value)}`;
  return `bundle/${value.split("/").map(encodeURIComponent).join("/")}?r=${revision}`;
}

function drawBar(item, box) {
  const { width, height, id } = box;
  const at = width * shareOf(item);
  const isDouble = item.subtype === 1 || item.subtype === 3;
  const from = isDouble ? Math.min(width / 2, at) : 0;
  const to = isDouble ? Math.max(width / 2, at) : at;
  const fill = makePaint(item.bar_fill_c, "white", `${id}-fill`, width);
  const shape = outline(item, width, height);
  return [
    ...drawGround(item, shape, box),
    ...fill.definitions,
    node("clipPath", { id: `${id}-clip` }, node("path", { d: shape })),
    node("rect", {
      "data-part": "fill",
      x: from,
      width: to - from,
      height,
      fill: fill.fill,
      "clip-path": `url(#${id}-clip)`,
    }),
    ...drawBorder(item, shape),
  ];
}

// Draws a bar without a fill, with a triangle below it that points at the value.
function drawMarkedBar(item, box) {
  const barHeight = Math.min(numberOr(item.bar_h, kBarHeight), box.height);
  const shape = outline(item, box.width, barHeight);
  const size = Math.max(4, Math.min(box.height - barHeight - 2, 12));
  const at = size / 2 + (box.width - size) * shareOf(item);
  const top = barHeight + 2;
  const fill = makePaint(item.bar_fill_c, "white", `${box.id}-fill`, box.width);
  return [
    ...drawGround(item, shape, box),
    ...drawBorder(item, shape),
    ...fill.definitions,
    node("path", {
      "data-part": "marker",
      d: `M${at} ${top}l${size / 2} ${size}h${-size}z`,
      fill: fill.fill,
    }),
  ];
}

function drawGround(item, shape, { width, id }) {
  const ground = makePaint(item.bar_bg_c, "darkgray", `${id}-bar`, width);
  return [...ground.definitions, node("path", { d: shape, fill: ground.fill })];
}

function drawBorder(item, shape) {
  const stroke = parseColor(item.bar_border_c)?.[0].color ?? "white";
  const border = numberOr(item.border_w, kBarBorder);
  if (border <= 0) return [];
  return [node("path", { d: shape, fill: "none", stroke, "stroke-width": border })];
}

// The path of a bar. Half of the border lies outside the path, so the path keeps that far from the
// edge.
function outline(item, width, height) {
  const edge = numberOr(item.border_w, kBarBorder) / 2;
  const [right, bottom, middle] = [width - edge, height - edge, height / 2];
  switch (item.subtype) {
    case 0:
    case 1:
      return `M${edge} ${edge}H${right}V${bottom}H${edge}z`;
    case 2:
      return `M${edge} ${bottom * 0.75}L${right} ${edge}V${bottom}H${edge}z`;
    case 3:
      return (
        `M${edge} ${edge}L${width / 2} ${middle * 0.75}L${right} ${edge}V${bottom}` +
        `L${width / 2} ${middle * 1.25}L${edge} ${bottom}z`
      );
    default: {
      const radius = Math.max(0, Math.min(width, height) / 2 - edge);
      const arc = `a${radius} ${radius} 0 0 1 0`;
      const [left, end] = [edge + radius, right - radius];
      return `M${left} ${edge}H${end}${arc} ${2 * radius}H${left}${arc} ${-2 * radius}z`;
    }
  }
}

function shareOf(item) {
  const [min, max] = [numberOr(item.range?.min, 0), numberOr(item.range?.max, 100)];
  const share = (numberOr(item.value, min) - min) / (max - min);
  return Number.isFinite(share) ? Math.min(Math.max(share, 0), 1) : 0;
}

function numberOr(value, other) {
  return Number.isFinite(value) ? value : other;
}

// Makes a fill for a colour, with the gradient that it may need. With `fades`, the fill fades out
// in its last quarter.
function makePaint(text, other, id, width, fades = false) {
  const stops = parseColor(text) ?? [{ offset: 0, color: other }];
  if (stops.length === 1 && !fades) return { fill: stops[0].color, definitions: [] };
  const { color } = stops[0];
  const used = fades
    ? [
        { offset: 0.75, color },
        { offset: 1, color, opacity: 0 },
      ]
    : stops;
  const gradient = node(
    "linearGradient",
    { id, gradientUnits: "userSpaceOnUse", x1: 0, x2: width, y1: 0, y2: 0 },
    ...used.map((stop) =>
      node("stop", {
        offset: stop.offset,
        "stop-color": stop.color,
        "stop-opacity": stop.opacity ?? 1,
      }),
    ),
  );
  return { fill: `url(#${id})`, definitions: [gradient] };
}

// Reads colours as layouts write them: a name, #rrggbb, or stops "0:#ff0000,0.5:yellow,1:#00ff00".
const kColor = /^(#([0-9a-f]{3}|[0-9a-f]{6}|[0-9a-f]{8})|[a-z]+)$/i;

// Returns the stops, a single one for a plain colour. Null: the text is no colour.
export function parseColor(text) {
  if (typeof text !== "string") return null;
  const parts = text.split(",").map((part) => part.trim());
  if (parts.length === 1 && kColor.test(parts[0])) return [{ offset: 0, color: parts[0] }];
  const stops = parts.map(parseStop);
  return stops.includes(null) ? null : stops.sort((a, b) => a.offset - b.offset);
}

function parseStop(text) {
  const [offset, color] = text.split(":").map((part) => part.trim());
  const isGood = offset !== "" && offset >= 0 && offset <= 1 && color && kColor.test(color);
  return isGood ? { offset: Number(offset), color } : null;
}
