// Recognises a press by mouse, pen, finger or keyboard, from its beginning to its end.

const kTouchPause = 120; // ms; a swipe has begun to scroll by then
const kSwipeDistance = 8; // px

const isPressKey = (event) => event.key === "Enter" || event.key === " ";

// Calls `down` and `up` in turn. A press also ends when the pointer or the focus is taken away: a
// key that stayed down for ever would be worse than one that comes up early. A finger that may be
// about to scroll doesn't press before it has rested for a moment or is lifted; where nothing
// scrolls it presses at once.
export function watchPresses(element, { down, up }) {
  let heldBy = null; // a pointer's number or a key's name
  let touch = null; // {id, x, y, timer} of a finger that hasn't pressed yet
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
  const forgetTouch = () => {
    clearTimeout(touch?.timer);
    touch = null;
  };
  const waitForTouch = ({ pointerId, clientX, clientY }) => {
    const timer = setTimeout(() => {
      touch = null;
      begin(pointerId);
    }, kTouchPause);
    touch = { id: pointerId, x: clientX, y: clientY, timer };
  };

  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    element.setPointerCapture(event.pointerId);
    const mayScroll =
      event.pointerType === "touch" && getComputedStyle(element).touchAction !== "none";
    if (mayScroll && !touch) waitForTouch(event);
    else begin(event.pointerId);
  });
  element.addEventListener("pointermove", (event) => {
    if (touch?.id !== event.pointerId) return;
    const distance = Math.hypot(event.clientX - touch.x, event.clientY - touch.y);
    if (distance > kSwipeDistance) forgetTouch();
  });
  for (const name of ["pointerup", "pointercancel", "lostpointercapture"]) {
    element.addEventListener(name, (event) => {
      if (touch?.id === event.pointerId) {
        forgetTouch();
        if (name === "pointerup") begin(event.pointerId);
      }
      end(event.pointerId);
    });
  }
  element.addEventListener("keydown", (event) => {
    if (!isPressKey(event)) return;
    event.preventDefault();
    if (!event.repeat) begin(event.key);
  });
  element.addEventListener("keyup", (event) => isPressKey(event) && end(event.key));
  element.addEventListener("blur", () => end(heldBy));
  // Without this a resting finger would open the context menu.
  element.addEventListener("contextmenu", (event) => event.preventDefault());
}
