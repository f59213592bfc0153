// Shows a single deck, for a screen that serves as a panel. The address names the deck,
// "#only=DEVICE", so that it can be kept as a bookmark.
import { part } from "./dom.js";

const kStart = "#only=";

// The device that the address names. Undefined: all are shown.
const wantedDevice = () =>
  location.hash.startsWith(kStart)
    ? decodeURIComponent(location.hash.slice(kStart.length))
    : undefined;

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

// Marks the deck that the address names. If there is no such deck, all stay on show.
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
