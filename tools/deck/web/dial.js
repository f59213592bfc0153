// The view of a dial with its segment of the touch strip.
import { ContextView } from "./context-view.js";
import { make, makeButton, nameButton, patchSvg, setAttribute, setText } from "./dom.js";
import { watchKnob } from "./knob.js";
import { watchPresses } from "./press.js";
import { describeStrip, kFont, kHeight, kWidth } from "./strip.js";
import { kTickAngle } from "./turning.js";

const kTurnPause = 50; // ms; turns in between go together
const kTapTime = 500; // ms; a tap that lasts longer is a long one

const pen = document.createElement("canvas").getContext("2d");
let count = 0;

function measure(text, size, weight) {
  pen.font = `${weight} ${size}px ${kFont}`;
  return pen.measureText(text).width;
}

export class DialView extends ContextView {
  #picture = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  #missing = make("span", { class: "missing" });
  #words = make("span", { class: "hidden" }); // the strip's words, for users who can't see it
  #strip = make("button", { type: "button", class: "strip" });
  #knob = make("button", { type: "button", class: "knob", "aria-describedby": "dial-hint" });
  #left;
  #right;
  #prefix = `strip${++count}`;
  #shown = "";
  #problems = [];
  #layoutPath = "";
  #ticks = 0; // turned, and not sent yet
  #turnTimer = null;
  #angle = 0;

  constructor(id, panel) {
    super(id, make("div", { class: "dial", role: "group" }), panel);
    setAttribute(this.#picture, "viewBox", `0 0 ${kWidth} ${kHeight}`);
    setAttribute(this.#picture, "aria-hidden", "true");
    this.#strip.append(this.#words, this.#picture, this.#missing, make("span", { class: "sign" }));
    this.#left = makeButton("−", "", () => this.#turn(-1));
    this.#right = makeButton("+", "", () => this.#turn(1));
    this.#knob.append(make("span", { class: "mark" }));
    this.element.append(
      this.#strip,
      make("div", { class: "turning" }, this.#left, this.#knob, this.#right),
    );
    this.#watchStrip();
    watchKnob(this.#knob, {
      down: () => panel.send(`push ${id}`),
      up: () => panel.send(`pull ${id}`),
      turn: (ticks) => this.#turn(ticks),
    });
  }

  place(context) {
    super.place(context);
    setAttribute(this.element, "aria-label", `Dial ${this.name}`);
    setAttribute(this.#knob, "aria-label", `Press dial ${this.name}`);
    setAttribute(this.#knob, "title", "Click to press, drag round to turn");
    nameButton(this.#left, `Turn ${this.name} left`);
    nameButton(this.#right, `Turn ${this.name} right`);
    this.show(context.face);
  }

  show(face) {
    const shown = JSON.stringify(face);
    if (shown !== this.#shown) this.#draw(face);
    this.#shown = shown;
    const text = this.#picture.dataset.text;
    setText(this.#words, `Strip of ${this.name}${text ? `: ${text}` : ""}`);
  }

  // The faults of the layout, for its author.
  get notes() {
    const layout = this.#layoutPath ? [`Layout: ${this.#layoutPath}`] : [];
    return [...layout, ...this.#problems];
  }

  #draw(face) {
    const drawing = face?.layout
      ? describeStrip(face, { measure, prefix: this.#prefix })
      : { nodes: [], text: "", problems: [] };
    patchSvg(this.#picture, drawing.nodes);
    this.#picture.dataset.text = drawing.text;
    this.#problems = drawing.problems;
    this.#layoutPath = face?.layoutPath ?? "";
    const isMissing = face && !face.layout;
    setText(this.#missing, isMissing ? `No layout can be read at ${this.#layoutPath}` : "");
  }

  #watchStrip() {
    let timer = null;
    watchPresses(this.#strip, {
      down: () => {
        timer = setTimeout(() => {
          timer = null;
          this.panel.send(`hold ${this.id}`);
        }, kTapTime);
      },
      up: () => {
        if (timer !== null) this.panel.send(`tap ${this.id}`);
        clearTimeout(timer);
      },
    });
  }

  #turn(ticks) {
    this.#ticks += ticks;
    this.#angle += ticks * kTickAngle;
    this.#knob.style.setProperty("--angle", `${this.#angle}deg`);
    if (this.#turnTimer === null) this.#sendTicks();
  }

  #sendTicks() {
    this.#turnTimer = null;
    if (this.#ticks === 0) return;
    this.panel.send(`rotate ${this.id} ${this.#ticks}`);
    this.#ticks = 0;
    this.#turnTimer = setTimeout(() => this.#sendTicks(), kTurnPause);
  }
}
