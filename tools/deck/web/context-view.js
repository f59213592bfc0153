// The common part of keys and dials on the page: the place, the selection, and the signs that
// appear for a moment.
import { setAttribute } from "./dom.js";
import { slotOf } from "./places.js";

const kSignTime = 1000; // ms

export class ContextView {
  #signTimer = null;

  // `panel` is the object that it reports to: send(command), select(id).
  constructor(id, element, panel) {
    this.id = id;
    this.element = element;
    this.panel = panel;
    element.dataset.context = id;
    for (const name of ["focusin", "pointerdown"]) {
      element.addEventListener(name, () => panel.select(id));
    }
  }

  place(context) {
    setAttribute(this.element, "data-slot", slotOf(context));
    this.name = context.keyName || "without a name";
    this.slot = slotOf(context);
  }

  markSelected(isSelected) {
    this.element.toggleAttribute("data-selected", isSelected);
  }

  sign(kind) {
    clearTimeout(this.#signTimer);
    this.element.dataset.sign = kind;
    this.#signTimer = setTimeout(() => delete this.element.dataset.sign, kSignTime);
  }
}
