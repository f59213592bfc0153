// A press by mouse, pen, finger or keyboard, from its beginning to its end.

// Calls `down` and `up` in turn. A press also ends when the pointer or the focus is taken away: a
// key that stayed down for ever would be worse than one that comes up early.
export function watchPresses(element, { down, up }) {
  let heldBy = null; // a pointer's number or a key's name
  const begin = (by) => {
    if (heldBy !== null) return;
    heldBy = by;
    element.dataset.pressed = "";
    down();
  };
  const end = (by) => {
    if (heldBy === null || heldBy !== by) return;
    heldBy = null;
    delete element.dataset.pressed;
    up();
  };
  const isPressKey = (event) => event.key === "Enter" || event.key === " ";

  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    element.setPointerCapture(event.pointerId);
    begin(event.pointerId);
  });
  for (const name of ["pointerup", "pointercancel", "lostpointercapture"]) {
    element.addEventListener(name, (event) => end(event.pointerId));
  }
  element.addEventListener("keydown", (event) => {
    if (!isPressKey(event)) return;
    event.preventDefault();
    if (!event.repeat) begin(event.key);
  });
  element.addEventListener("keyup", (event) => isPressKey(event) && end(event.key));
  element.addEventListener("blur", () => end(heldBy));
  // A finger that rests would open it.
  element.addEventListener("contextmenu", (event) => event.preventDefault());
}
