// Words for the light of the simulator's side. This module knows nothing of the page.

const kMinute = 60; // s

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
