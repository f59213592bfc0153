// The view of a device with the page that it shows.
import { DialView } from "./dial.js";
import { make, makeButton, nameButton, setAttribute, setText } from "./dom.js";
import { KeyView } from "./key.js";
import { describeSlot, isDial, kindOf, slotOf, slotsOf } from "./places.js";

export class DeckView {
  #cells = new Map(); // by slot
  #views = new Map(); // by context
  #panel;
  #pages;
  #plug;
  #body = make("div", { class: "body" });

  // `panel` is the object that it reports to: send(command), select(id), selectPlace(device, slot),
  // fill(device), showAlone(device).
  constructor(device, panel) {
    this.id = device.id;
    this.#panel = panel;
    this.#pages = Array.from({ length: device.pages }, (_, page) => this.#makePage(page));
    this.#plug = makeButton("Unplug", "", () => this.#togglePlug());
    const title = make("h2", {}, device.name, " ", make("small", {}, device.id));
    const fill = makeButton("Fill", `Fill ${device.id} with the trainer's keys`, () =>
      panel.fill(device.id),
    );
    const alone = makeButton("Full screen", `Full screen: only ${device.id}`, () =>
      panel.showAlone(device.id),
    );
    alone.className = "alone";
    const pages = make("div", { class: "pages", role: "group", "aria-label": "Pages" });
    pages.append(...this.#pages);
    this.element = make("article", { class: "deck", "data-device": device.id });
    this.element.setAttribute("aria-label", `${device.name}, ${device.id}`);
    this.element.style.setProperty("--columns", device.columns);
    this.element.style.setProperty("--rows", device.rows);
    this.element.toggleAttribute("data-dials", device.dials > 0);
    this.element.append(
      make("header", {}, title, make("div", { class: "tools" }, pages, fill, alone, this.#plug)),
      this.#body,
    );
    this.#makeCells(device);
  }

  #makePage(page) {
    const button = makeButton(`${page + 1}`, `Page ${page + 1} of ${this.id}`, () =>
      this.#panel.send(`page ${this.id} ${page}`),
    );
    button.dataset.page = page;
    return button;
  }

  #makeCells(device) {
    const keys = make("div", { class: "keys" });
    const dials = make("div", { class: "dials" });
    for (const slot of slotsOf(device)) {
      const cell = make("div", { class: "cell" });
      this.#cells.set(slot, cell);
      (kindOf(slot) === "dial" ? dials : keys).append(cell);
    }
    this.#body.append(keys, ...(device.dials > 0 ? [dials] : []));
  }

  #togglePlug() {
    this.#panel.send(this.isPlugged ? `unplug ${this.id}` : `plug ${this.id}`);
  }

  // `contexts` are all that the device has on show.
  update(device, contexts) {
    this.isPlugged = device.plugged;
    this.element.toggleAttribute("data-unplugged", !device.plugged);
    this.#body.inert = !device.plugged;
    setText(this.#plug, device.plugged ? "Unplug" : "Plug in");
    nameButton(this.#plug, `${this.#plug.textContent} ${device.id}`);
    this.#pages.forEach((button, page) =>
      setAttribute(button, "aria-pressed", `${page === device.page}`),
    );
    this.#place(contexts);
  }

  #place(contexts) {
    const wanted = new Map(contexts.map((context) => [slotOf(context), context]));
    for (const [slot, cell] of this.#cells) {
      const context = wanted.get(slot);
      const element = context ? this.#viewOf(context).element : this.#emptyPlace(slot, cell);
      if (cell.firstChild !== element) cell.replaceChildren(element);
    }
    const shown = new Set(contexts.map((context) => context.id));
    for (const id of this.#views.keys()) if (!shown.has(id)) this.#views.delete(id);
  }

  #viewOf(context) {
    let view = this.#views.get(context.id);
    if (!view) {
      view = new (isDial(context) ? DialView : KeyView)(context.id, this.#panel);
      this.#views.set(context.id, view);
    }
    view.place(context);
    return view;
  }

  #emptyPlace(slot, cell) {
    if (cell.firstChild?.classList.contains("place")) return cell.firstChild;
    const label = `Empty ${kindOf(slot)}, ${describeSlot(slot)}`;
    const place = makeButton("", label, () => this.#panel.selectPlace(this.id, slot));
    place.className = `place ${kindOf(slot)}-place`;
    place.dataset.slot = slot;
    return place;
  }

  // The view of a context. Undefined: the device doesn't show it.
  view(id) {
    return this.#views.get(id);
  }

  markSelected(selection) {
    for (const [id, view] of this.#views) view.markSelected(selection?.context === id);
    for (const [slot, cell] of this.#cells) {
      const isSelected = selection?.device === this.id && selection.slot === slot;
      if (!cell.firstChild.dataset.context) {
        cell.firstChild.toggleAttribute("data-selected", isSelected);
      }
    }
  }
}
