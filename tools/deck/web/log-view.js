// The lines of the log and the frames in both directions.
import { make, part, setText } from "./dom.js";

const kKeptLines = 400;
const kFoldKey = "velomar-log";
const kWide = "(min-width: 64rem)"; // there is room beside the devices
const kArrows = { "to plug-in": "→", "from plug-in": "←" };

export class LogView {
  #rows = []; // {line, element}
  #waiting = [];
  #isPaused = false;
  #isDue = false;
  #list = part("log-lines");

  constructor() {
    part("log-filter").addEventListener("input", () => this.#filter());
    part("log-from").addEventListener("input", () => this.#filter());
    part("log-pause").addEventListener("click", () => this.#togglePause());
    this.#watchFold();
  }

  // Opens the log where there is room for it, unless the user has folded or opened it before.
  #watchFold() {
    const kept = readSetting(kFoldKey);
    const fold = (isOpen) => {
      part("log-fold").setAttribute("aria-expanded", `${isOpen}`);
      part("log-body").hidden = !isOpen;
      this.#list.scrollTop = this.#list.scrollHeight;
    };
    fold(kept === null ? matchMedia(kWide).matches : kept === "open");
    part("log-fold").addEventListener("click", () => {
      const isOpen = part("log-body").hidden;
      fold(isOpen);
      keepSetting(kFoldKey, isOpen ? "open" : "folded");
    });
  }

  clear() {
    this.#rows = [];
    this.#waiting = [];
    this.#list.replaceChildren();
  }

  add(lines) {
    this.#waiting = [...this.#waiting, ...lines].slice(-kKeptLines);
    // Many lines come at once, and to show each alone would cost a layout of the list.
    if (!this.#isDue) requestAnimationFrame(() => this.#show());
    this.#isDue = true;
  }

  #show() {
    this.#isDue = false;
    setText(part("log-pause"), this.#isPaused ? `Go on (${this.#waiting.length})` : "Pause");
    if (this.#isPaused) return;
    const rows = this.#waiting.map((line) => ({ line, element: makeRow(line) }));
    this.#waiting = [];
    for (const row of rows) this.#applyFilter(row);
    const isAtEnd = this.#list.scrollHeight - this.#list.scrollTop - this.#list.clientHeight < 40;
    this.#list.append(...rows.map((row) => row.element));
    this.#rows.push(...rows);
    for (const row of this.#rows.splice(0, this.#rows.length - kKeptLines)) row.element.remove();
    if (isAtEnd) this.#list.scrollTop = this.#list.scrollHeight;
  }

  #togglePause() {
    this.#isPaused = !this.#isPaused;
    part("log-pause").setAttribute("aria-pressed", `${this.#isPaused}`);
    this.#show();
  }

  #filter() {
    for (const row of this.#rows) this.#applyFilter(row);
    this.#list.scrollTop = this.#list.scrollHeight;
  }

  #applyFilter({ line, element }) {
    const wanted = part("log-filter").value.trim().toLowerCase();
    const from = part("log-from").value;
    element.hidden =
      (from !== "" && line.from !== from) || !line.text.toLowerCase().includes(wanted);
  }
}

// Returns null also if the browser is set to keep nothing.
function readSetting(key) {
  try {
    return localStorage.getItem(key);
  } catch {
    return null;
  }
}

function keepSetting(key, value) {
  try {
    localStorage.setItem(key, value);
  } catch {
    // a browser that keeps nothing shows the log as at the first visit
  }
}

// Makes one line, which opens to show all of its text. A long text was cut, and isn't JSON any
// more.
function makeRow({ time, from, text }) {
  const [, event] = /"event":"([^"]*)"/.exec(text) ?? [];
  const [, context] = /"context":"([^"]*)"/.exec(text) ?? [];
  const short = text.replace(/(base64,)[^"]*/, "$1…");
  const summary = make(
    "summary",
    {},
    make("time", {}, time.toFixed(2)),
    make("span", { class: "arrow", title: from }, kArrows[from] ?? "·"),
    ...(event ? [make("b", {}, event)] : []),
    make("span", { class: "gist" }, event ? `${context ?? ""} ${gistOf(short)}` : text),
  );
  return make("details", { class: "line", "data-from": from }, summary, make("pre", {}, text));
}

// The payload of a frame, because the rest only names the event and the context.
function gistOf(text) {
  const [, payload] = /"payload":(.*?)\}?$/.exec(text) ?? [];
  return payload ?? "";
}
