// The view of a single deck, for a screen that serves as a panel. The address names the deck, so
// that it can be kept: "#only=DEVICE".
import { part } from "./dom.js";

const kStart = "#only=";

// Undefined: all are on show.
const wantedDevice = () =>
  location.hash.startsWith(kStart) ? decodeURIComponent(location.hash.slice(kStart.length)) : undefined;

// Shows a deck alone. Where the browser can't fill the screen, it fills the window.
export function showAlone(device) {
  location.hash = `${kStart}${encodeURIComponent(device)}`;
  document.documentElement.requestFullscreen?.().catch(() => {});
  part("leave").focus();
}

function leave() {
  const device = wantedDevice();
  if (device === undefined) return;
  history.replaceState(null, "", location.pathname);
  showWanted();
  if (document.fullscreenElement) document.exitFullscreen();
  document.querySelector(`[data-device="${CSS.escape(device)}"] .alone`)?.focus();
}

// Marks the deck that the address asks for. If that one isn't there, all stay on show.
export function showWanted() {
  const wanted = wantedDevice();
  const decks = [...document.querySelectorAll("[data-device]")];
  const isThere = decks.some((deck) => deck.dataset.device === wanted);
  document.body.toggleAttribute("data-alone", isThere);
  for (const deck of decks) {
    deck.toggleAttribute("data-left-out", isThere && deck.dataset.device !== wanted);
  }
}

export function watchAlone() {
  part("leave").addEventListener("click", leave);
  window.addEventListener("hashchange", showWanted);
  document.addEventListener("keydown", (event) => event.key === "Escape" && leave());
  document.addEventListener("fullscreenchange", () => {
    if (!document.fullscreenElement) leave();
  });
}
