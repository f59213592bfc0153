// Tests of those parts of the page that need no browser.
import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { describeLink } from "../../tools/deck/web/lights.js";
import {
  describeSlot,
  inPageOrder,
  parseSlot,
  slotOf,
  slotsOf,
} from "../../tools/deck/web/places.js";
import { describeStrip, parseColor } from "../../tools/deck/web/strip.js";
import { Turning, Wheel } from "../../tools/deck/web/turning.js";

const at = (angle, radius = 20) => ({
  x: 100 + radius * Math.cos((angle * Math.PI) / 180),
  y: 100 + radius * Math.sin((angle * Math.PI) / 180),
});

describe("turning", () => {
  const turn = (...angles) => {
    const turning = new Turning({ x: 100, y: 100 }, at(angles[0]));
    return angles.slice(1).map((angle) => turning.moveTo(at(angle)));
  };

  it("makes a tick of each 15 degrees, and keeps what is left for the next", () => {
    assert.deepEqual(turn(0, 14, 16, 29, 31), [0, 1, 0, 1]);
    assert.deepEqual(turn(0, 50, 0), [3, -3]);
  });
  it("goes the shorter way round, and as often as it likes", () => {
    assert.deepEqual(turn(170, -170), [1]);
    assert.deepEqual(turn(-170, 170), [-1]);
    const round = turn(...Array.from({ length: 73 }, (_, i) => i * 10 + 0.01));
    assert.equal(
      round.reduce((sum, ticks) => sum + ticks),
      48,
    );
  });
  it("passes the middle without a jump", () => {
    const turning = new Turning({ x: 100, y: 100 }, at(0, 1));
    assert.equal(turning.moveTo(at(90)), 0);
    assert.equal(turning.moveTo(at(180, 1)), 0);
    assert.equal(turning.moveTo(at(270)), 0);
    assert.equal(turning.moveTo(at(300)), 2);
  });
});

describe("a wheel", () => {
  it("turns a tick a notch, whatever unit it counts in, and gathers the steps of a touch pad", () => {
    const wheel = new Wheel();
    const move = (deltaY, deltaMode = 0) => wheel.ticksOf({ deltaY, deltaMode });
    assert.deepEqual([move(-100), move(250), move(-3, 1)], [1, -3, 3]);
    assert.deepEqual([move(10), move(10), move(10), move(10), move(10)], [0, 0, 0, -1, 0]);
  });
});

describe("the simulator's light", () => {
  it("counts the time of what is over, and nothing else", () => {
    const say = (state, now) => describeLink({ state, since: 100 }, now).text;
    assert.equal(say("silent", 112.9), "Simulator: silent since 12 s");
    assert.equal(say("silent", 219.9), "Simulator: silent since 119 s");
    assert.equal(say("dropped", 280), "Simulator: link lost since 3 min");
    assert.equal(say("up", 112), "Simulator: up");
    assert.equal(say("awaited", 112), "Simulator: not come yet");
    assert.equal(say("a word of a later version", 112), "Simulator: unknown");
    assert.equal(say("silent", 99), "Simulator: silent since 0 s");
    assert.equal(describeLink({ state: "silent", since: 1 }, 9).state, "Simulator: silent");
  });
});

describe("places", () => {
  const device = { columns: 3, rows: 2, dials: 2 };
  it("are named and read back alike", () => {
    const slots = slotsOf(device);
    assert.equal(slots.length, 8);
    for (const slot of slots) assert.equal(slotOf(parseSlot(slot)), slot);
    assert.equal(describeSlot("key:2,1"), "column 3, row 2");
    assert.equal(describeSlot("dial:1"), "column 2");
  });
  it("show devices with dials first, otherwise in the order of plugging", () => {
    const plugged = [
      ["B", 0],
      ["C", 4],
      ["A", 0],
      ["D", 2],
    ].map(([id, dials]) => ({ id, dials }));
    assert.equal(
      inPageOrder(plugged)
        .map(({ id }) => id)
        .join(""),
      "CDBA",
    );
  });
});

describe("colours", () => {
  it("are names, numbers or stops, and nothing else", () => {
    assert.deepEqual(parseColor("#fff"), [{ offset: 0, color: "#fff" }]);
    assert.deepEqual(parseColor("1:yellow, 0:#ff0000"), [
      { offset: 0, color: "#ff0000" },
      { offset: 1, color: "yellow" },
    ]);
    for (const bad of ["", "#ff", "url(x)", "0:red,2:blue", "0:red,blue", null, 7]) {
      assert.equal(parseColor(bad), null, `${bad}`);
    }
  });
});

describe("a dial's strip", () => {
  const item = (key, type, more = {}) => ({ key, type, rect: [0, 0, 100, 20], ...more });
  const draw = (items, feedback = {}) =>
    describeStrip(
      { layout: { items }, feedback, changed: { icon: 7 } },
      { measure: (text, size) => (text.length * size) / 2, prefix: "p" },
    );
  const find = (node, tag) =>
    node.tag === tag ? node : (node.children ?? []).map((child) => find(child, tag)).find(Boolean);

  it("reads its texts aloud and cuts one that is too long", () => {
    const { nodes, text } = draw(
      [item("a", "text"), item("b", "text", { value: "off", enabled: false })],
      {
        a: { value: "a text of more than a line" },
      },
    );
    assert.equal(text, "a text of more than a line");
    assert.match(find(nodes[0], "text").children[0], /^a text of .*…$/);
  });
  it("asks for a file again when it may have changed, below the page's own address", () => {
    const [icon] = draw([item("icon", "pixmap")], { icon: { value: "images/a b.png" } }).nodes;
    assert.equal(find(icon, "image").attributes.href, "bundle/images/a%20b.png?r=7");
  });
  it("fills a bar as far as its range says, and a value outside of it no further", () => {
    const widthAt = (value) =>
      draw([item("bar", "bar", { value, range: { min: 100, max: 200 } })]).nodes[0].children.find(
        (child) => child.attributes["data-part"] === "fill",
      ).attributes.width;
    assert.deepEqual([0, 125, 900].map(widthAt), [0, 25, 100]);
  });
  it("tells the author of what it can't draw", () => {
    const bad = [item("x", "cloud"), item("y", "text", { rect: [150, 0, 100, 20] })];
    const { nodes, problems } = draw(bad, { stray: { value: "1" }, silent: { value: "" } });
    assert.equal(nodes.length, 0);
    assert.equal(problems.length, 3);
  });
});
