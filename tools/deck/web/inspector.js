// The panel beside the selected place. It plays the property inspector, and places, moves and
// removes keys and dials.
import { make, part, setText } from "./dom.js";
import { describeSlot, isDial, kindOf, parseSlot } from "./places.js";

// Loads the bundle's list of names, which another bundle may not have.
const kNone = { key: [], dial: [] };
await import("./bundle/inspector/names.js").catch(() => {});
const offeredNames = (kind) => globalThis.namesOfPanels?.(kind) ?? [];
export const trainersNames = globalThis.kPanels?.[0] ?? kNone;

export class Inspector {
  #selection = null;
  #context = null;
  #isEdited = false;
  #notes = "";

  // `panel` is the object that it reports to: name(context, name), place(device, slot, name),
  // move(context, page, column, row), remove(context).
  constructor(panel) {
    part("key-name").addEventListener("input", () => (this.#isEdited = true));
    part("name-form").addEventListener("submit", (event) => {
      event.preventDefault();
      const name = part("key-name").value.trim();
      const { device, slot } = this.#selection;
      this.#isEdited = false;
      if (this.#context) panel.name(this.#context, name);
      else panel.place(device, slot, name);
    });
    part("move-form").addEventListener("submit", (event) => {
      event.preventDefault();
      const [page, column, row] = ["page", "column", "row"].map(
        (name) => part(`move-${name}`).valueAsNumber - 1,
      );
      panel.move(this.#context, page, column, row);
    });
    part("remove").addEventListener("click", () => {
      part("key-name").focus(); // the button goes with what it removes
      panel.remove(this.#context);
    });
  }

  // `selection` is {device, page, slot, context} or null, with the objects that belong to it.
  show(selection, device, context) {
    const isOther = JSON.stringify(selection) !== JSON.stringify(this.#selection);
    this.#selection = selection;
    this.#context = context;
    part("name-form").hidden = !selection;
    part("move-form").hidden = !context;
    if (!selection) {
      setText(part("what"), "Nothing is selected. Click a key, a dial or an empty place.");
      return;
    }
    this.#describe(device);
    if (isOther) this.#isEdited = false;
    // A half-typed name isn't replaced when another page changes something.
    if (!this.#isEdited) part("key-name").value = context?.keyName ?? "";
    if (context && isOther) this.#offerMove(device);
  }

  #describe(device) {
    const { page, slot } = this.#selection;
    const kind = kindOf(slot);
    part("names").replaceChildren(...offeredNames(kind).map((value) => make("option", { value })));
    const where = `${describeSlot(slot)}, page ${page + 1} of ${device.id}`;
    const what = this.#context ? `${kind} ${this.#context.id}` : `No ${kind}`;
    setText(part("what"), `${what[0].toUpperCase()}${what.slice(1)}: ${where}`);
    setText(part("store"), this.#context ? "Store name" : `Place ${kind}`);
  }

  #offerMove(device) {
    const { page, slot } = this.#selection;
    const { column, row } = parseSlot(slot);
    const isOfDial = isDial(this.#context);
    const offer = (name, value, most) => {
      part(`move-${name}`).max = most;
      part(`move-${name}`).value = value + 1;
    };
    offer("page", page, device.pages);
    offer("column", column, isOfDial ? device.dials : device.columns);
    offer("row", row, isOfDial ? 1 : device.rows);
    part("move-row").disabled = isOfDial;
  }

  showNotes(notes) {
    const text = notes.join("\n");
    if (text === this.#notes) return;
    this.#notes = text;
    part("notes").replaceChildren(...notes.map((note) => make("li", {}, note)));
  }
}
