// The virtual Stream Deck as a user meets it: a real browser with the page, the real plug-in, and
// the trainer as the simulator's side. The cases tell one story and run in this order.
import assert from "node:assert/strict";
import { join } from "node:path";
import { after, before, describe, it } from "node:test";
import { findBarriers, kSchemes } from "./barriers.mjs";
import { eventually } from "./program.mjs";
import { Stage } from "./stage.mjs";

const kLights = { x: 0, y: 0, width: 800, height: 50 }; // px; where they are on the page

const stage = new Stage();
let page;
let other; // a second page of the same deck

const key = (name, on = page) => on.getByRole("button", { name: `Key ${name},` });
const slot = (device, name, on = page) =>
  on.locator(`[data-device=${device}] [data-slot="${name}"]`);
const image = (name, on = page) => key(name, on).first().locator("img").getAttribute("src");
const click = (name, on = page) => on.getByRole("button", { name }).click();

// Waits until one of the lights says this.
const light = (text) => page.locator(".light", { hasText: text }).waitFor();

// Returns the text of a line of a dial's strip.
const stripLine = (dial, item, on = page) =>
  on.locator(`[data-context=${dial}] [data-item=${item}] text`).textContent();

const saysLine = (dial, item, text, on = page) =>
  eventually(`${text} on ${dial}`, async () => (await stripLine(dial, item, on)) === text);

// Counts the lines that the deck has written with all these words.
const count = (...words) =>
  stage.deck.lines.filter((line) => words.every((word) => line.includes(word))).length;

async function screenshot(name, options = {}) {
  const folder = process.env.SCREENSHOTS;
  if (!folder) return;
  await page.evaluate(() => window.scrollTo(0, 0));
  await page.screenshot({ path: join(folder, `${name}.png`), ...options });
}

const lightsPicture = (name) => screenshot(`lights-${name}`, { clip: kLights });

async function plugIn(kind) {
  await page.getByLabel("A device with").selectOption(kind);
  await page.getByRole("button", { name: "Plug in", exact: true }).click();
}

// Taps in one step, because two steps could make a long tap on a slow machine.
function tap(dial) {
  return page.getByRole("button", { name: `Strip of ${dial}` }).evaluate((strip) => {
    strip.dispatchEvent(new KeyboardEvent("keydown", { key: "Enter" }));
    strip.dispatchEvent(new KeyboardEvent("keyup", { key: "Enter" }));
  });
}

// Opens another page whose timers can be stopped.
async function openTimedPage(options) {
  const timed = await stage.openPage(options);
  await timed.clock.install();
  await timed.goto(stage.address);
  return timed;
}

// Stops the page's timers for as long as `act` takes, because on a busy machine a pointer that
// moves would otherwise seem to rest.
async function inNoTime(timed, act) {
  await timed.clock.pauseAt(await timed.evaluate(() => Date.now() + 1000));
  await act();
  await timed.clock.resume();
}

// Drags from the middle of an element to one of its sides, and on to others, in steps.
async function dragRound(element, sides) {
  const { mouse } = element.page();
  const { x, y, width } = await element.boundingBox();
  const at = (angle) => {
    const radians = (angle * Math.PI) / 180;
    const radius = width * 0.4;
    return [x + width / 2 + radius * Math.cos(radians), y + width / 2 + radius * Math.sin(radians)];
  };
  await mouse.move(...at(sides[0]));
  await mouse.down();
  for (const angle of sides) await mouse.move(...at(angle), { steps: 4 });
  await mouse.up();
}

async function drag(from, to) {
  await from.hover();
  await page.mouse.down();
  await to.hover();
  await page.mouse.up();
}

// Names the contexts at these places.
const contextsAt = (device, ...places) =>
  Promise.all(places.map((place) => slot(device, place).getAttribute("data-context")));

describe("the virtual deck", { timeout: 600_000 }, () => {
  before(async () => {
    await stage.open();
    page = await stage.openPage({ colorScheme: "light" });
    await page.goto(stage.address);
  });
  after(() => stage.close());

  it("comes to life, and a press that is held changes the picture", async () => {
    await light("Plug-in: connected");
    await light("Simulator: up");
    await plugIn("plus");
    await click("Fill DECK1 with");
    await plugIn("15");
    await click("Fill DECK2 with");
    const gear = slot("DECK1", "key:0,0");
    await gear.locator("img:not([hidden])").waitFor();
    const asItWas = await image("GEAR");

    await gear.hover();
    await page.mouse.down();
    await stage.deck.line(["keyDown", "KEY1"]);
    assert.equal(count("keyUp"), 0);
    await page.mouse.up();
    await stage.deck.line(["keyUp", "KEY1"]);
    await eventually("another picture", async () => (await image("GEAR")) !== asItWas);

    await key("AP").focus();
    await page.keyboard.down("Space");
    await page.keyboard.down("Space"); // as it repeats by itself
    await page.keyboard.up("Space");
    await stage.deck.line(["keyUp", "KEY19"]);
    assert.equal(count("keyDown", "KEY19"), 1);
    assert.match(await key("CLOCK").getAttribute("aria-label"), /row 3: \d\d:\d\d:\d\d$/);
    assert.match(await key("GEAR").first().getAttribute("aria-label"), /: (UP|TRANSIT)$/);
  });

  it("turns dials: text, bar and picture follow, and a fast turn is one message", async () => {
    await saysLine("DIAL3", "line1", "270°");
    const bar = page.locator("[data-context=DIAL3] [data-item=val3] [data-part=fill]");
    const width = await bar.getAttribute("width");
    await page.getByRole("button", { name: "Press dial HEADING" }).press("ArrowRight");
    await saysLine("DIAL3", "line1", "271°");
    await click("Turn HEADING left");
    await saysLine("DIAL3", "line1", "270°");

    const sent = count("to plug-in", "dialRotate");
    await page.locator("[data-context=DIAL3]").evaluate((dial) => {
      const up = { deltaY: -100, cancelable: true, bubbles: true };
      dial.querySelector(".strip").dispatchEvent(new WheelEvent("wheel", up)); // this scrolls
      const knob = dial.querySelector(".knob");
      for (let i = 0; i < 20; ++i) knob.dispatchEvent(new WheelEvent("wheel", up));
    });
    await saysLine("DIAL3", "line1", "290°");
    assert.equal(count("to plug-in", "dialRotate") - sent, 2, "the first tick, and all others");
    // The autopilot is on: the aeroplane turns.
    await eventually("a longer bar", async () => (await bar.getAttribute("width")) > width);
  });

  it("turns a knob that is dragged round, and presses it only if it isn't", async () => {
    const own = await openTimedPage();
    const knob = own.getByRole("button", { name: "Press dial HEADING" });
    const presses = count("to plug-in", "dialDown");
    await inNoTime(own, () => dragRound(knob, [0, 30, 60, 92]));
    await saysLine("DIAL3", "line1", "296°");
    await inNoTime(own, () => dragRound(knob, [-148, 150, 118]));
    await saysLine("DIAL3", "line1", "290°");
    assert.equal(count("to plug-in", "dialDown"), presses);
    await knob.click();
    await stage.deck.line(["to plug-in", "dialUp", "DIAL3"]);
    assert.equal(count("to plug-in", "dialDown"), presses + 1);

    await knob.hover();
    await own.mouse.down();
    await eventually("a press", () => count("to plug-in", "dialDown") === presses + 2);
    await own.mouse.up();
    await eventually("its end", () => count("to plug-in", "dialUp") === presses + 2);
    await own.close();
  });

  it("scrolls when a finger swipes over the keys, and presses when it taps", async () => {
    const phone = await openTimedPage({ viewport: { width: 360, height: 780 }, hasTouch: true });
    const where = await slot("DECK1", "key:0,1", phone).boundingBox();
    const [x, y] = [where.x + where.width / 2, where.y + where.height / 2];
    const presses = count("to plug-in", "keyDown");
    const input = await phone.context().newCDPSession(phone);
    const touch = (type, ...touchPoints) =>
      input.send("Input.dispatchTouchEvent", { type, touchPoints });
    await inNoTime(phone, async () => {
      await touch("touchStart", { x, y });
      for (let way = 10; way <= 200; way += 10) await touch("touchMove", { x, y: y - way });
      await touch("touchEnd");
    });
    await eventually("a scrolled page", () => phone.evaluate(() => window.scrollY > 100));
    await phone.evaluate(() => window.scrollTo(0, 0));
    await phone.touchscreen.tap(x, y);
    await eventually("a release", () => count("to plug-in", "keyUp") === presses + 1);
    assert.equal(count("to plug-in", "keyDown"), presses + 1);
    await phone.close();
  });

  it("lets two keys change places, and shows nothing but one deck", async () => {
    const places = ["key:0,0", "key:1,0"];
    const [first, second] = await contextsAt("DECK1", ...places);
    const presses = count("to plug-in", "keyDown");
    for (const expected of [
      [second, first],
      [first, second],
    ]) {
      await click("Arrange");
      await drag(slot("DECK1", places[0]), slot("DECK1", places[1]));
      await eventually(
        "a swap",
        async () => (await contextsAt("DECK1", ...places)).join() === expected.join(),
      );
      await click("Arrange");
    }
    assert.equal(count("to plug-in", "keyDown"), presses);

    await click("Full screen: only DECK2");
    const shown = page.locator("body :is(h1, h2, [data-device], .side):visible");
    await eventually("one deck", async () => (await shown.count()) === 1);
    assert.equal(await shown.getAttribute("data-device"), "DECK2");
    await page.reload();
    await eventually("the same deck", async () => (await shown.count()) === 1);
    await page.keyboard.press("Escape");
    await page.getByRole("heading", { name: "Set up" }).waitFor();
  });

  it("has no barriers at any width, in light, dark and forced colours", async () => {
    await slot("DECK1", "key:0,0").focus(); // its place is shown beside the devices
    for (const [width, height] of [
      [360, 780],
      [1280, 800],
      [2560, 1440],
    ]) {
      await page.setViewportSize({ width, height });
      for (const [name, media] of Object.entries(kSchemes)) {
        await page.emulateMedia(media);
        assert.deepEqual(await findBarriers(page), [], `${width} pixels, ${name}`);
        await screenshot(`${width}-${name}`);
      }
      const fits = () => document.documentElement.scrollWidth <= window.innerWidth;
      assert.ok(await page.evaluate(fits), `no sideways scrolling at ${width} pixels`);
    }
    await page.emulateMedia(kSchemes.light);
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.evaluate(() => window.scrollTo(0, 0));
    for (const part of [".key", ".strip", ".knob"]) {
      const boxes = await page
        .locator(`[data-device=DECK1] ${part}`)
        .evaluateAll((parts) => parts.map((each) => each.getBoundingClientRect().bottom));
      assert.ok(
        boxes.every((bottom) => bottom > 0 && bottom <= 800),
        `each ${part} is in sight`,
      );
    }
    const line = page.locator(".line").last();
    assert.ok((await line.boundingBox()).height >= 24, "a finger hits a line of the log");
    await page.getByRole("button", { name: "Frames and log" }).click();
    await page.getByLabel("Filter the lines").waitFor({ state: "hidden" });
    await page.reload();
    await light("Page: live");
    await page.getByLabel("Filter the lines").waitFor({ state: "hidden" });
    await page.getByRole("button", { name: "Frames and log" }).click();
  });

  it("presses a dial in the ways of today's hosts and of older ones", async () => {
    const knob = page.getByRole("button", { name: "Press dial COM1" });
    for (const [form, events] of Object.entries({ single: 2, both: 4, pair: 2 })) {
      const from = stage.bridge.lines.length;
      const before = count("to plug-in", "dial");
      await page.getByLabel("A dial’s press sends").selectOption(form);
      await knob.press("Space");
      await stage.bridge.line(["Dial Down", "DIAL1"], from);
      await stage.bridge.line(["Dial Up", "DIAL1"], from);
      assert.equal(count("to plug-in", "dial") - before, events, form);
    }
  });

  it("tells a tap on the strip from a long one, and shows the sign that answers", async () => {
    const strip = page.getByRole("button", { name: "Strip of COM1" });
    const sign = page.locator("[data-context=DIAL1]").evaluate(
      (dial) =>
        new Promise((resolve) => {
          const look = () => dial.dataset.sign && resolve(dial.dataset.sign);
          new MutationObserver(look).observe(dial, { attributes: true });
        }),
    );
    await strip.hover();
    await page.mouse.down();
    await stage.deck.line(["touchTap", "DIAL1", '"hold":true']);
    await page.mouse.up();
    await saysLine("DIAL1", "line2", "121.500");
    assert.equal(await sign, "ok");
    await page.locator("[data-context=DIAL1]:not([data-sign])").waitFor();

    await tap("COM1");
    await saysLine("DIAL1", "line1", "121.500");
    assert.deepEqual([count('"hold":true'), count('"hold":false')], [1, 1]);
  });

  it("keeps several pages in step while keys are named, placed, moved and removed", async () => {
    other = await stage.openPage();
    await other.goto(stage.address);
    const wanted = await image("FAIL"); // of the other device
    await slot("DECK1", "key:3,1").click();
    await page.getByLabel("Key name").fill("FAIL");
    await page.getByLabel("Key name").press("Enter");
    await stage.deck.line(["sendToPlugin", "KEY8", "FAIL"]);
    for (const each of [page, other]) {
      const shown = slot("DECK1", "key:3,1", each).locator("img");
      await eventually("its picture", async () => (await shown.getAttribute("src")) === wanted);
    }

    await click("Remove");
    await stage.deck.line(["willDisappear", "KEY8"]);
    await other.getByRole("button", { name: "Empty key, column 4, row 2" }).first().waitFor();
    await slot("DECK1", "key:3,1").click();
    await page.getByLabel("Key name").fill("CAUTION");
    await click("Place key");
    await stage.deck.line(["willAppear", "KEY8", "CAUTION"]);

    await page.getByLabel("Page", { exact: true }).fill("2");
    await page.getByLabel("Column", { exact: true }).fill("1");
    await page.getByRole("button", { name: "Move", exact: true }).click();
    await click("Page 2 of DECK1");
    await other.locator('[data-device=DECK1] [data-context=KEY8][data-slot="key:0,1"]').waitFor();
    assert.equal(await page.locator("[data-device=DECK1] [data-context]").count(), 1);
    await click("Page 1 of DECK1");
  });

  it("unplugs a device for all pages, and goes on without any", async () => {
    await click("Unplug DECK2");
    await stage.deck.line(["deviceDidDisconnect", "DECK2"]);
    await click("Plug in DECK2", other);
    await key("AP").locator("img:not([hidden])").waitFor();
    await page.close();
    await other.close();
    assert.equal((await stage.state()).plugin, true);
    assert.equal(count("disconnected"), 0);
  });

  it("says that its connection is lost, and comes back to the same state", async () => {
    const sockets = [];
    page = await stage.openPage({ colorScheme: "dark" });
    await page.routeWebSocket("**/page", (socket) => {
      sockets.push(socket);
      socket.connectToServer();
    });
    await page.goto(stage.address);
    await light("Page: live");
    await sockets[0].close();
    await light("Page: connection lost");
    await light("Page: live");
    await light("Plug-in: connected");
    assert.equal(await page.locator("[data-device]").count(), 2);
  });

  it("goes blank when the simulator has gone, and comes back with it", async () => {
    const withImage = page.locator(".key:not([data-blank])");
    const texts = () => page.locator(".strip svg text").allTextContents();
    const total = await page.locator(".key").count();
    await eventually("all faces", async () => (await withImage.count()) === total);
    await stage.bridge.end();
    await eventually("blank keys", async () => (await withImage.count()) === 0);
    await eventually("blank dials", async () => (await texts()).join("") === "");
    await light(/Simulator: silent since 1\d s/);
    await screenshot("blank");
    await lightsPicture("silent");
    stage.startBridge();
    await light("Simulator: up");
    await eventually("all faces", async () => (await withImage.count()) === total);
    await eventually("dials", async () => (await texts()).includes("HDG"));
  });

  it("is found again under its address, with what was arranged, by the tab that was open", async () => {
    const before = await page.locator("[data-context]").count();
    await stage.bridge.end();
    await stage.restartDeck();
    await light("Page: connection lost");
    await light("Plug-in: connected");
    await light("Simulator: not come yet");
    await lightsPicture("awaited");
    stage.startBridge();
    await eventually(
      "all contexts",
      async () => (await page.locator("[data-context]").count()) === before,
    );
    await light("Simulator: up");
    await lightsPicture("up");
  });

  it("fits 32 keys on a narrow screen, and leaves the console silent", async () => {
    await plugIn("32");
    await click("Fill DECK3 with");
    await slot("DECK3", "key:3,1").locator("img:not([hidden])").waitFor();
    await page.setViewportSize({ width: 360, height: 780 });
    await screenshot("narrow", { fullPage: true });
    const fits = () => document.documentElement.scrollWidth <= window.innerWidth;
    assert.ok(await page.evaluate(fits), "no sideways scrolling");
    assert.deepEqual(stage.errors, []);
  });
});
