// The three lights at the top of the page: the page's own connection, the plug-in, and the
// simulator's side.
import { part, setText } from "./dom.js";

const kMinute = 60; // s
const kPause = 1000; // ms; times are told in seconds

export class Lights {
  // The link's state, and by how much the program's clock is ahead of the browser's.
  #link = { state: "unknown", since: 0 };
  #clockOffset = 0;

  constructor() {
    setInterval(() => this.#showLink(), kPause);
  }

  showPlugin(isConnected) {
    show("plugin-light", isConnected, `Plug-in: ${isConnected ? "connected" : "gone"}`);
  }

  // Shows `link` as of the program's `time`. A change is told to users who can't see the light.
  showLink({ link, time }) {
    const before = describeLink(this.#link, 0).state;
    this.#link = link;
    this.#clockOffset = time - browserTime();
    this.#showLink();
    const { state } = describeLink(link, 0);
    if (state !== before) setText(part("spoken"), state);
  }

  #showLink() {
    const { text, isGood } = describeLink(this.#link, browserTime() + this.#clockOffset);
    show("link-light", isGood, text);
  }

  opened() {
    show("page-light", true, "Page: live");
  }

  // The connection to the program is lost, and with it all that is known of the others.
  lost() {
    show("page-light", false, "Page: connection lost, trying again");
    show("plugin-light", false, "Plug-in: unknown");
    this.#link = { state: "unknown", since: 0 };
    this.#showLink();
  }
}

const browserTime = () => performance.now() / 1000;

function show(light, isGood, text) {
  part(light).toggleAttribute("data-good", isGood);
  setText(part(light), text);
}

// Describes `link`, {state, since}, at the time `now` on the same clock, in seconds. Of the result,
// `text` is all of the words, and `state` the part that doesn't change from second to second.
export function describeLink(link, now) {
  const { words, isGood = false, isTimed = false } = kStates[link.state] ?? kStates.unknown;
  const state = `Simulator: ${words}`;
  const text = isTimed ? `${state} since ${describeTime(now - link.since)}` : state;
  return { state, text, isGood };
}

const kStates = {
  unknown: { words: "unknown" },
  awaited: { words: "not come yet" },
  up: { words: "up", isGood: true },
  silent: { words: "silent", isTimed: true },
  dropped: { words: "link lost", isTimed: true },
  impossible: { words: "no link in this run, the log says why" },
};

function describeTime(seconds) {
  const whole = Math.max(0, Math.floor(seconds));
  return whole < 2 * kMinute ? `${whole} s` : `${Math.floor(whole / kMinute)} min`;
}
