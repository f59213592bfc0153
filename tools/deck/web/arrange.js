// Lets the user move keys and dials with a mouse, a pen or a finger while the button "Arrange" is
// on. Keys are dragged then, and not pressed.
const kDragDistance = 6; // px; less is a click

// Calls `move(context, slot)` for a drop on a place, which may be taken, and `turnTo(context,
// page)` for a drop on a page's button. Both are of the context's own device.
export function watchArranging(decks, button, { move, turnTo }) {
  let isOn = false;
  button.addEventListener("click", () => {
    isOn = !isOn;
    button.setAttribute("aria-pressed", `${isOn}`);
    document.body.toggleAttribute("data-arranging", isOn);
  });
  // The event is taken in the capture phase, before a key takes it for a press.
  decks.addEventListener(
    "pointerdown",
    (event) => {
      const dragged = isOn && event.button === 0 && event.target.closest("[data-context]");
      if (!dragged) return;
      event.stopPropagation();
      event.preventDefault();
      dragged.querySelector("button")?.focus();
      dragged.focus();
      watchDrag(dragged, event, { move, turnTo });
    },
    true,
  );
}

// The place or page's button that a drop would go to, which is marked on the page.
class Target {
  #dragged;
  #device;
  #kind;
  #marked = null;

  constructor(dragged) {
    this.#dragged = dragged;
    this.#device = dragged.closest("[data-device]");
    this.#kind = dragged.dataset.slot.split(":")[0];
  }

  // Aims at the place that holds this element, if the dragged key or dial may go there.
  aim(element) {
    const aimed = element?.closest(`[data-slot^="${this.#kind}:"], [data-page]`);
    const isFit = aimed && aimed !== this.#dragged && this.#device.contains(aimed);
    this.#marked?.removeAttribute("data-target");
    this.#marked = isFit ? aimed : null;
    this.#marked?.setAttribute("data-target", "");
  }

  // Returns the slot or page aimed at, and aims at nothing from then on.
  take() {
    const { slot, page } = this.#marked?.dataset ?? {};
    this.aim(null);
    return { slot, page };
  }
}

function watchDrag(dragged, start, { move, turnTo }) {
  const ghost = dragged.cloneNode(true);
  const target = new Target(dragged);

  const follow = (event) => {
    const [x, y] = [event.clientX - start.clientX, event.clientY - start.clientY];
    if (!ghost.isConnected && Math.hypot(x, y) < kDragDistance) return;
    if (!ghost.isConnected) showGhost(ghost, dragged);
    ghost.style.translate = `${x}px ${y}px`;
    target.aim(document.elementFromPoint(event.clientX, event.clientY));
  };
  const listening = new AbortController();
  const drop = (event) => {
    listening.abort();
    ghost.remove();
    const { slot, page } = target.take();
    if (event.type !== "pointerup") return;
    if (slot) move(dragged.dataset.context, slot);
    if (page) turnTo(dragged.dataset.context, Number(page));
  };
  const options = { signal: listening.signal };
  window.addEventListener("pointermove", follow, options);
  window.addEventListener("pointerup", drop, options);
  window.addEventListener("pointercancel", drop, options);
}

function showGhost(ghost, dragged) {
  const { left, top, width, height } = dragged.getBoundingClientRect();
  delete ghost.dataset.context;
  delete ghost.dataset.slot;
  ghost.classList.add("ghost");
  ghost.setAttribute("aria-hidden", "true");
  Object.assign(ghost.style, {
    left: `${left}px`,
    top: `${top}px`,
    width: `${width}px`,
    height: `${height}px`,
  });
  document.body.append(ghost);
}
