// The virtual Stream Deck as a user meets it: a real browser, the real plug-in behind the page, and
// the demo aeroplane behind that. The cases tell one story and run in this order.
import assert from "node:assert/strict";
import { get } from "node:http";
import { join } from "node:path";
import { after, before, describe, it } from "node:test";
import { eventually, Stage } from "./stage.mjs";

const stage = new Stage();
let page;
let other; // a second page of the same deck

const key = (name, on = page) => on.getByRole("button", { name: `Key ${name},` });
const slot = (device, name, on = page) =>
  on.locator(`[data-device=${device}] [data-slot="${name}"]`);
const image = (name, on = page) => key(name, on).first().locator("img").getAttribute("src");
const click = (name, on = page) => on.getByRole("button", { name }).click();

// What a line of a dial's strip says.
const stripLine = (dial, item, on = page) =>
  on.locator(`[data-context=${dial}] [data-item=${item}] text`).textContent();

const saysLine = (dial, item, text, on = page) =>
  eventually(`${text} on ${dial}`, async () => (await stripLine(dial, item, on)) === text);

// How many lines the deck has written with all these words.
const count = (...words) =>
  stage.deck.lines.filter((line) => words.every((word) => line.includes(word))).length;

async function screenshot(name, options = {}) {
  const folder = process.env.SCREENSHOTS;
  if (!folder) return;
  await page.evaluate(() => window.scrollTo(0, 0));
  await page.screenshot({ path: join(folder, `${name}.png`), ...options });
}

async function plugIn(kind) {
  await page.getByLabel("Kind of device").selectOption(kind);
  await click("Plug in a new device");
}

// In one go: on a slow machine two steps could make a long tap.
function tap(dial) {
  return page.getByRole("button", { name: `Strip of ${dial}` }).evaluate((strip) => {
    strip.dispatchEvent(new KeyboardEvent("keydown", { key: "Enter" }));
    strip.dispatchEvent(new KeyboardEvent("keyup", { key: "Enter" }));
  });
}

// The answer's status to a WebSocket that says it comes from there.
function knock(origin) {
  const headers = {
    Connection: "Upgrade",
    Upgrade: "websocket",
    "Sec-WebSocket-Version": "13",
    "Sec-WebSocket-Key": "dmVsb21hci1kZWNrLXRlc3Q=",
    Origin: origin,
  };
  return new Promise((resolve, reject) => {
    const done = (answer) => {
      answer.destroy();
      resolve(answer.statusCode);
    };
    get(`${stage.address}page`, { headers }, done).on("upgrade", done).on("error", reject);
  });
}

describe("the virtual deck", { timeout: 600_000 }, () => {
  before(async () => {
    await stage.open();
    page = await stage.openPage({ colorScheme: "light" });
    await page.goto(stage.address);
  });
  after(() => stage.close());

  it("comes to life, and a press that is held changes the picture", async () => {
    await page.getByText("Plug-in connected").waitFor();
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
      const up = { deltaY: -100, cancelable: true };
      for (let i = 0; i < 20; ++i) dial.dispatchEvent(new WheelEvent("wheel", up));
    });
    await saysLine("DIAL3", "line1", "290°");
    assert.equal(count("to plug-in", "dialRotate") - sent, 2, "the first tick, and all others");
    // The autopilot is on: the aeroplane turns.
    await eventually("a longer bar", async () => (await bar.getAttribute("width")) > width);
    await screenshot("light");
    await page.emulateMedia({ colorScheme: "dark" });
    await screenshot("dark");
  });

  it("presses a dial in the way of today's hosts or of older ones", async () => {
    const knob = page.getByRole("button", { name: "Press dial COM1" });
    for (const [choice, events] of [["single", ["dialPress"]], ["pair", ["dialDown", "dialUp"]]]) {
      const from = stage.cockpit.lines.length;
      await page.getByLabel("Events of a dial's press").selectOption(choice);
      await knob.press("Space");
      await stage.cockpit.line(["Dial Up", "DIAL1"], from);
      await stage.cockpit.line(["Dial Down", "DIAL1"], from);
      for (const event of events) assert.equal(count("to plug-in", event), 2 / events.length);
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

  it("unplugs a device for all pages, and talks to these alone", async () => {
    await click("Unplug DECK2");
    await stage.deck.line(["deviceDidDisconnect", "DECK2"]);
    await click("Plug in DECK2", other);
    await key("AP").locator("img:not([hidden])").waitFor();
    assert.equal(await knock("http://elsewhere.example"), 403);
    assert.equal(await knock(stage.address.slice(0, -1)), 101);
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
    await page.getByText("Live").waitFor();
    await sockets[0].close();
    await page.getByText("Connection lost").waitFor();
    await page.getByText("Live").waitFor();
    await page.getByText("Plug-in connected").waitFor();
    assert.equal(await page.locator("[data-device]").count(), 2);
  });

  it("goes blank when the simulator has gone, and comes back with it", async () => {
    const withImage = page.locator(".key:not([data-blank])");
    const texts = () => page.locator(".strip svg text").allTextContents();
    const total = await page.locator(".key").count();
    await eventually("all faces", async () => (await withImage.count()) === total);
    await stage.cockpit.kill();
    await eventually("blank keys", async () => (await withImage.count()) === 0);
    await eventually("blank dials", async () => (await texts()).join("") === "");
    await screenshot("blank");
    stage.startCockpit();
    await eventually("all faces", async () => (await withImage.count()) === total);
    await eventually("dials", async () => (await texts()).includes("HDG"));
  });

  it("stores and tells a key name on the page that hosts show for it", async () => {
    const inspector = await stage.openPage();
    const frames = [];
    await inspector.routeWebSocket("ws://127.0.0.1:9/", (socket) =>
      socket.onMessage((text) => frames.push(JSON.parse(text))),
    );
    await inspector.goto(`${stage.address}bundle/inspector/index.html`);
    await inspector.evaluate(() => {
      const selected = { action: "A", payload: { settings: { KeyName: "AP1", other: 1 } } };
      connectElgatoStreamDeckSocket("9", "U", "registerIt", "{}", JSON.stringify(selected));
    });
    const field = inspector.getByLabel("Key name");
    assert.equal(await field.inputValue(), "AP1");
    await field.fill(" GEAR ");
    await eventually("three frames", () => frames.length === 3);
    assert.deepEqual(frames, [
      { event: "registerIt", uuid: "U" },
      { event: "setSettings", context: "U", action: "A", payload: { KeyName: "GEAR", other: 1 } },
      { event: "sendToPlugin", context: "U", action: "A", payload: { KeyName: "GEAR" } },
    ]);
    await inspector.close();
  });

  it("fits a narrow screen, names every control, and leaves the console silent", async () => {
    await plugIn("32");
    await click("Fill DECK3 with");
    await slot("DECK3", "key:3,1").locator("img:not([hidden])").waitFor();
    await page.setViewportSize({ width: 360, height: 780 });
    await screenshot("narrow", { fullPage: true });
    const fits = () => document.documentElement.scrollWidth <= window.innerWidth;
    assert.ok(await page.evaluate(fits), "no sideways scrolling");

    const nameless = await page.locator("button, input, select").evaluateAll((controls) =>
      controls
        .filter((each) => !each.ariaLabel && !each.labels?.length && !each.textContent.trim())
        .map((each) => each.outerHTML),
    );
    assert.deepEqual(nameless, []);
    assert.deepEqual(stage.errors, []);
  });
});
