// Computes ticks from a pointer that drags round a knob and from the wheel. This module knows
// nothing of the page.

export const kTickAngle = 15; // degrees

const kDeadRadius = 6; // px; nearer to the middle the angle is too uncertain

// Follows a pointer round a knob's middle, from where it went down.
export class Turning {
  #middle;
  #angle;
  #left = 0; // degrees that aren't a whole tick yet

  constructor(middle, start) {
    this.#middle = middle;
    this.#angle = this.#angleAt(start);
  }

  // Returns the ticks of the move to this point, by the shorter way round, negative to the left.
  moveTo(point) {
    const angle = this.#angleAt(point);
    const isKnown = angle !== null && this.#angle !== null;
    const turned = isKnown ? angle - this.#angle : 0;
    this.#angle = angle;
    this.#left += ((turned + 540) % 360) - 180;
    const ticks = Math.trunc(this.#left / kTickAngle);
    this.#left -= ticks * kTickAngle;
    return ticks;
  }

  // The angle of a point in degrees from the right, clockwise, -180 to 180. Null: the point is too
  // near to the middle.
  #angleAt({ x, y }) {
    const [dx, dy] = [x - this.#middle.x, y - this.#middle.y];
    return Math.hypot(dx, dy) < kDeadRadius ? null : (Math.atan2(dy, dx) * 180) / Math.PI;
  }
}

// Makes ticks of a wheel's events; up is to the right. The many small steps of a touch pad are
// added up.
export class Wheel {
  #gathered = 0;

  // `event` has the members of a WheelEvent.
  ticksOf({ deltaY, deltaMode }) {
    const distance = deltaMode === 0 ? deltaY : deltaY * kNotch;
    this.#gathered += distance;
    if (Math.abs(distance) < kStep && Math.abs(this.#gathered) < kStep) return 0;
    const ticks = Math.max(1, Math.round(Math.abs(this.#gathered) / kNotch));
    const direction = -Math.sign(this.#gathered);
    this.#gathered = 0;
    return direction * ticks;
  }
}

const kNotch = 100; // px
const kStep = 40; // px; of a wheel without notches
