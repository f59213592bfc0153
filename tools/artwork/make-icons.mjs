// Draws the bundle's SDPlusIcon.png: what a dial shows while nobody has given it a picture. It is
// kept in the tree; after a change run `node tools/artwork/make-icons.mjs`.
import { writeFileSync } from "node:fs";
import { deflateSync } from "node:zlib";

const kSize = 144; // px
const kGround = [24, 27, 32];
const kMark = [58, 65, 75];

// How far a point lies outside of a rounded square around the middle; negative inside.
function fromTile(x, y) {
  const [half, radius] = [kSize / 2, 18];
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

const coverage = (distance) => Math.min(Math.max(0.5 - distance, 0), 1);

function pixel(column, row) {
  const [x, y] = [column + 0.5, row + 0.5];
  const wings = [[44, 56], [72, 92], [100, 56]];
  const mark = coverage(fromLine(x, y, wings, 9));
  const color = kGround.map((value, index) => Math.round(value + mark * (kMark[index] - value)));
  return [...color, Math.round(255 * coverage(fromTile(x, y)))];
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

function png() {
  const rows = [];
  for (let row = 0; row < kSize; ++row) {
    rows.push(0); // no filter
    for (let column = 0; column < kSize; ++column) rows.push(...pixel(column, row));
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(kSize, 0);
  header.writeUInt32BE(kSize, 4);
  header.set([8, 6], 8); // bits a channel, and four channels
  return Buffer.concat([
    Buffer.from("\x89PNG\r\n\x1a\n", "latin1"),
    chunk("IHDR", header),
    chunk("IDAT", deflateSync(Buffer.from(rows), { level: 9 })),
    chunk("IEND", Buffer.alloc(0)),
  ]);
}

writeFileSync(new URL("../../bundle/SDPlusIcon.png", import.meta.url), png());
