// Recognises a press by mouse, pen, finger or keyboard, from its beginning to its end.

const kTouchPause = 120; // ms; a swipe has begun to scroll by then
const kSwipeDistance = 8; // px

export const isPressKey = (event) => event.key === "Enter" || event.key === " ";

// Calls `down` and `up` in turn. A press also ends when the pointer or the focus is taken away: a
// key that stayed down for ever would be worse than one that comes up early. A finger that may be
// about to scroll doesn't press before it has rested for a moment or is lifted; where nothing
// scrolls it presses at once.
export function watchPresses(element, actions) {
  const press = makePress(element, actions);
  watchPointers(element, press);
  watchKeys(element, press);
  // Without this a resting finger would open the context menu.
  element.addEventListener("contextmenu", (event) => event.preventDefault());
}

// One pointer or one key holds the element down at a time.
function makePress(element, { down, up }) {
  let heldBy = null; // a pointer's number or a key's name
  return {
    begin(by) {
      if (heldBy !== null) return;
      heldBy = by;
      element.dataset.pressed = "";
      down();
    },
    end(by = heldBy) {
      if (heldBy === null || heldBy !== by) return;
      heldBy = null;
      delete element.dataset.pressed;
      up();
    },
  };
}

// A finger that hasn't pressed yet, because it may be about to scroll.
class Touch {
  constructor({ pointerId, clientX, clientY }, onRest) {
    this.id = pointerId;
    this.start = { x: clientX, y: clientY };
    this.timer = setTimeout(onRest, kTouchPause);
  }

  isSwipe({ clientX, clientY }) {
    return Math.hypot(clientX - this.start.x, clientY - this.start.y) > kSwipeDistance;
  }
}

function watchPointers(element, press) {
  let touch = null;
  const forgetTouch = () => {
    clearTimeout(touch?.timer);
    touch = null;
  };

  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    element.setPointerCapture(event.pointerId);
    const mayScroll =
      event.pointerType === "touch" && getComputedStyle(element).touchAction !== "none";
    if (!mayScroll || touch) return press.begin(event.pointerId);
    touch = new Touch(event, () => {
      touch = null;
      press.begin(event.pointerId);
    });
  });
  element.addEventListener("pointermove", (event) => {
    if (touch?.id === event.pointerId && touch.isSwipe(event)) forgetTouch();
  });
  for (const name of ["pointerup", "pointercancel", "lostpointercapture"]) {
    element.addEventListener(name, (event) => {
      const wasTouch = touch?.id === event.pointerId;
      if (wasTouch) forgetTouch();
      if (wasTouch && name === "pointerup") press.begin(event.pointerId);
      press.end(event.pointerId);
    });
  }
}

function watchKeys(element, press) {
  element.addEventListener("keydown", (event) => {
    if (!isPressKey(event)) return;
    event.preventDefault();
    if (!event.repeat) press.begin(event.key);
  });
  element.addEventListener("keyup", (event) => isPressKey(event) && press.end(event.key));
  element.addEventListener("blur", () => press.end());
}
