// Names of places: "key:COLUMN,ROW" and "dial:COLUMN", counted from 0.

export const isDial = (context) => context.controller === "Encoder";

export function slotOf(context) {
  return isDial(context) ? `dial:${context.column}` : `key:${context.column},${context.row}`;
}

export function parseSlot(slot) {
  const [kind, place] = slot.split(":");
  const [column, row = 0] = place.split(",").map(Number);
  return { controller: kind === "dial" ? "Encoder" : "Keypad", column, row };
}

// All places on a page of a device, keys first, row by row.
export function slotsOf(device) {
  const slots = [];
  for (let row = 0; row < device.rows; ++row) {
    for (let column = 0; column < device.columns; ++column) slots.push(`key:${column},${row}`);
  }
  for (let column = 0; column < device.dials; ++column) slots.push(`dial:${column}`);
  return slots;
}

// Describes a place in words, counted from 1.
export function describeSlot(slot) {
  const { controller, column, row } = parseSlot(slot);
  return controller === "Encoder" ? `column ${column + 1}` : `column ${column + 1}, row ${row + 1}`;
}

export const kindOf = (slot) => (slot.startsWith("dial") ? "dial" : "key");

// Orders the devices for the page: those with dials come first, because there is the most to see on
// them, and the others follow in the order in which they were plugged in.
export function inPageOrder(devices) {
  const withDials = devices.filter((device) => device.dials > 0);
  return [...withDials, ...devices.filter((device) => device.dials === 0)];
}
