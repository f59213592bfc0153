// Recognises the gestures on a knob: a press, a turn by dragging round it, by the wheel or by the
// arrow keys, and a turn while it is held down.
import { isPressKey } from "./press.js";
import { Turning, Wheel } from "./turning.js";

const kDragDistance = 6; // px; less is a press
const kHoldTime = 300; // ms; a pointer that rests for so long presses, and may then turn
const kKeyTicks = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1 };

// Calls `down` and `up` in turn, and `turn` with ticks.
export function watchKnob(element, actions) {
  const press = makePress(element, actions);
  watchPointer(element, press, actions.turn);
  watchKeys(element, press, actions.turn);
  const wheel = new Wheel();
  element.addEventListener(
    "wheel",
    (event) => {
      event.preventDefault();
      actions.turn(wheel.ticksOf(event));
    },
    { passive: false },
  );
  // Without this a resting finger would open the context menu.
  element.addEventListener("contextmenu", (event) => event.preventDefault());
}

function makePress(element, { down, up }) {
  let isDown = false;
  const set = (wanted, act) => {
    if (isDown === wanted) return;
    isDown = wanted;
    element.toggleAttribute("data-pressed", isDown);
    act();
  };
  return { begin: () => set(true, down), end: () => set(false, up) };
}

// A pointer that is down may press or turn. It presses when it has rested for a while, or when it is
// lifted at the same place.
class Drag {
  constructor(element, { pointerId, clientX, clientY }, onRest) {
    const { left, top, width, height } = element.getBoundingClientRect();
    this.id = pointerId;
    this.start = { x: clientX, y: clientY };
    this.turning = new Turning({ x: left + width / 2, y: top + height / 2 }, this.start);
    this.isTurning = false;
    this.timer = setTimeout(onRest, kHoldTime);
  }

  // Returns the ticks of the move.
  moveTo(point) {
    const distance = Math.hypot(point.x - this.start.x, point.y - this.start.y);
    this.isTurning ||= distance > kDragDistance;
    if (!this.isTurning) return 0;
    clearTimeout(this.timer);
    return this.turning.moveTo(point);
  }
}

function watchPointer(element, press, turn) {
  let drag = null;

  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0 || drag) return;
    element.setPointerCapture(event.pointerId);
    drag = new Drag(element, event, press.begin);
  });
  element.addEventListener("pointermove", (event) => {
    if (drag?.id !== event.pointerId) return;
    turn(drag.moveTo({ x: event.clientX, y: event.clientY }));
  });
  const finish = (event) => {
    if (drag?.id !== event.pointerId) return;
    const wasPress = event.type === "pointerup" && !drag.isTurning;
    clearTimeout(drag.timer);
    drag = null;
    if (wasPress) press.begin();
    press.end();
  };
  for (const name of ["pointerup", "pointercancel", "lostpointercapture"]) {
    element.addEventListener(name, finish);
  }
}

function watchKeys(element, press, turn) {
  element.addEventListener("keydown", (event) => {
    if (!isPressKey(event) && !(event.key in kKeyTicks)) return;
    event.preventDefault();
    if (event.key in kKeyTicks) turn(kKeyTicks[event.key]);
    else if (!event.repeat) press.begin();
  });
  element.addEventListener("keyup", (event) => isPressKey(event) && press.end());
  element.addEventListener("blur", press.end);
}
