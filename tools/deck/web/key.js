// The view of a key: an image with a title over it, which can be pressed and held.
import { ContextView } from "./context-view.js";
import { make, setAttribute, setText } from "./dom.js";
import { describeSlot } from "./places.js";
import { watchPresses } from "./press.js";

export class KeyView extends ContextView {
  #image = make("img", { alt: "", draggable: "false", decoding: "sync", hidden: "" });
  #title = make("span", { class: "title" });
  #place = "";

  constructor(id, panel) {
    super(id, make("button", { type: "button", class: "key" }), panel);
    this.element.append(this.#image, this.#title, make("span", { class: "sign" }));
    watchPresses(this.element, {
      down: () => panel.send(`press ${id}`),
      up: () => panel.send(`release ${id}`),
    });
  }

  place(context) {
    super.place(context);
    this.#place = `Key ${this.name}, ${describeSlot(this.slot)}`;
    this.show(context.face);
  }

  // Shows a face; null if the plug-in hasn't sent one yet. Users who can't see the picture are told
  // the title, which gives the key's state in words.
  show(face) {
    const image = face?.image ?? "";
    if (image) setAttribute(this.#image, "src", image);
    else this.#image.removeAttribute("src");
    this.#image.hidden = !image;
    setText(this.#title, face?.title ?? "");
    this.element.toggleAttribute("data-blank", !image && !face?.title);
    const words = face?.title ? face.title.replaceAll("\n", " ") : image ? "a picture" : "blank";
    setAttribute(this.element, "aria-label", `${this.#place}: ${words}`);
  }

  get notes() {
    return [];
  }
}
