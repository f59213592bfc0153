// Draws the bundle's pictures: SDPlusIcon.png, which a dial shows while nobody has given it a
// picture, and what the manifest names, each in its size and in the doubled one. They are kept in
// the tree; after a change run `node tools/artwork/make-icons.mjs`.
import { mkdirSync, writeFileSync } from "node:fs";
import { deflateSync } from "node:zlib";

const kBundle = new URL("../../bundle/", import.meta.url);

const kGround = [24, 27, 32];
const kGrey = [58, 65, 75];
const kAccent = [63, 198, 232];
const kWhite = [255, 255, 255];

// All pictures are drawn on a square of this side, whatever their size in px.
const kSide = 144;

// How far a point lies outside of a rounded square around the middle; negative inside.
function fromTile(x, y, radius) {
  const half = kSide / 2;
  const over = [x, y].map((value) => Math.max(Math.abs(value - half) - half + radius, 0));
  return Math.hypot(...over) - radius;
}

// The same for a line that goes through the points.
function fromLine(x, y, points, width) {
  const distances = points.slice(1).map(([x2, y2], index) => {
    const [x1, y1] = points[index];
    const [dx, dy] = [x2 - x1, y2 - y1];
    const along = ((x - x1) * dx + (y - y1) * dy) / (dx * dx + dy * dy);
    const nearest = Math.min(Math.max(along, 0), 1);
    return Math.hypot(x - x1 - nearest * dx, y - y1 - nearest * dy);
  });
  return Math.min(...distances) - width / 2;
}

// Shapes that a picture is laid up from, each a colour and a distance. The last lies on top.
const tile = (color) => ({ color, distance: (x, y) => fromTile(x, y, 18) });
const sheet = (color) => ({ color, distance: () => -kSide });
const line = (color, width, ...points) => ({
  color,
  distance: (x, y) => fromLine(x, y, points, width),
});
const wings = (color, width) => line(color, width, [44, 56], [72, 92], [100, 56]);
const bigWings = (color) => [
  line(color, 17, [22, 42], [72, 106], [122, 42]),
  line(color, 12, [57, 36], [87, 36]),
];

const kPictures = [
  { name: "SDPlusIcon", size: kSide, scales: [1], shapes: [tile(kGround), wings(kGrey, 9)] },
  {
    name: "icons/plugin",
    size: 256,
    shapes: [
      tile(kGround),
      line(kWhite, 13, [32, 46], [72, 103], [112, 46]),
      line(kAccent, 8, [58, 46], [86, 46]),
    ],
  },
  { name: "icons/category", size: 28, shapes: bigWings(kWhite) },
  { name: "icons/action", size: 20, shapes: bigWings(kWhite) },
  { name: "icons/key", size: 72, shapes: [sheet(kGround)] },
  { name: "icons/dial", size: 72, shapes: [tile(kGround), wings(kWhite, 9)] },
];

// A shape's share of a pixel, whose middle lies that far outside of it.
const coverage = (distance) => Math.min(Math.max(0.5 - distance, 0), 1);

function pixel(x, y, scale, shapes) {
  let alpha = 0;
  let mixed = [0, 0, 0];
  for (const { color, distance } of shapes) {
    const share = coverage(distance(x, y) * scale);
    if (share === 0) continue;
    const below = alpha * (1 - share);
    alpha = share + below;
    mixed = mixed.map((value, index) => (color[index] * share + value * below) / alpha);
  }
  return [...mixed.map(Math.round), Math.round(255 * alpha)];
}

function crc32(bytes) {
  let crc = ~0;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; ++bit) crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc >>> 0;
}

function chunk(name, content) {
  const body = Buffer.concat([Buffer.from(name, "latin1"), content]);
  const frame = Buffer.alloc(body.length + 8);
  frame.writeUInt32BE(content.length, 0);
  body.copy(frame, 4);
  frame.writeUInt32BE(crc32(body), body.length + 4);
  return frame;
}

function png(size, shapes) {
  const scale = size / kSide;
  const rows = [];
  for (let row = 0; row < size; ++row) {
    rows.push(0); // no filter
    for (let column = 0; column < size; ++column) {
      rows.push(...pixel((column + 0.5) / scale, (row + 0.5) / scale, scale, shapes));
    }
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(size, 0);
  header.writeUInt32BE(size, 4);
  header.set([8, 6], 8); // bits a channel, and four channels
  return Buffer.concat([
    Buffer.from("\x89PNG\r\n\x1a\n", "latin1"),
    chunk("IHDR", header),
    chunk("IDAT", deflateSync(Buffer.from(rows), { level: 9 })),
    chunk("IEND", Buffer.alloc(0)),
  ]);
}

mkdirSync(new URL("icons", kBundle), { recursive: true });
for (const { name, size, scales = [1, 2], shapes } of kPictures) {
  for (const scale of scales) {
    const file = `${name}${scale === 1 ? "" : `@${scale}x`}.png`;
    writeFileSync(new URL(file, kBundle), png(size * scale, shapes));
  }
}
