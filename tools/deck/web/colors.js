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
