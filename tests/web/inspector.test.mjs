// The page for a key's name, in a real browser, beside a host that this test plays.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, beforeEach, describe, it } from "node:test";
import { fileURLToPath } from "node:url";
import { WebSocketServer } from "ws";
import { findBarriers } from "./barriers.mjs";
import { eventually } from "./program.mjs";
import { openBrowser } from "./stage.mjs";

const kAddress = new URL("../../bundle/inspector/index.html", import.meta.url).href;

let browser;
let page;
let frames;
let host;

// Loads the page as a host does, and keeps the messages that it sends.
async function open({
  settings = { KeyName: "AP1", other: 1 },
  language = "en",
  answers = true,
} = {}) {
  frames = [];
  page = await browser.newPage();
  host?.close();
  host = new WebSocketServer({ host: "127.0.0.1", port: 0 });
  host.on("connection", (socket) => {
    let stored = settings;
    socket.on("message", (text) => {
      const frame = JSON.parse(text);
      frames.push(frame);
      if (frame.event === "setSettings") stored = frame.payload;
      if (frame.event !== "getSettings" || !answers) return;
      socket.send(JSON.stringify({ event: "didReceiveSettings", payload: { settings: stored } }));
    });
  });
  await page.goto(kAddress);
  await page.evaluate(
    ([port, info, selected]) =>
      globalThis.connectElgatoStreamDeckSocket(port, "U", "registerIt", info, selected),
    [
      host.address().port,
      JSON.stringify({ application: { language } }),
      JSON.stringify({ action: "A", payload: { settings, controller: "Keypad" } }),
    ],
  );
}

const names = () =>
  frames.filter(({ event }) => event === "sendToPlugin").map(({ payload }) => payload.KeyName);
const field = () => page.locator("#key-name");

describe("the page for a key's name", { timeout: 300_000 }, () => {
  before(async () => {
    browser = await openBrowser();
  });
  after(async () => {
    await browser.close();
    host.close();
  });
  beforeEach(() => page?.close());

  it("stores a name when it is finished, and says so when the host has it", async () => {
    await open();
    assert.equal(await field().inputValue(), "AP1");
    await field().fill(" GEAR ");
    await field().press("Enter");
    await page.getByText("Stored: GEAR").waitFor();
    assert.deepEqual(frames, [
      { event: "registerIt", uuid: "U" },
      { event: "getSettings", context: "U" },
      { event: "setSettings", context: "U", action: "A", payload: { KeyName: "GEAR", other: 1 } },
      { event: "sendToPlugin", context: "U", action: "A", payload: { KeyName: "GEAR" } },
      { event: "getSettings", context: "U" },
    ]);
    await page.setViewportSize({ width: 320, height: 300 });
    assert.deepEqual(await findBarriers(page), []);
  });

  it("doesn't send half a name, and loses none when the page goes", async () => {
    await open();
    await field().fill("LIGHT_");
    await page.waitForTimeout(700); // longer than it once waited
    assert.deepEqual(names(), []);
    await field().fill("LIGHT_NAV");
    await page.goto("about:blank");
    await eventually("the name", () => names().length === 1);
    assert.deepEqual(names(), ["LIGHT_NAV"]);
  });

  it("offers the names of the panels, those of keys to a key", async () => {
    await open();
    const offered = await page
      .locator("#names option")
      .evaluateAll((all) => all.map((o) => o.value));
    assert.ok(offered.includes("GEAR") && !offered.includes("HEADING"), `${offered}`);
  });

  it("says when the host doesn't answer, or has gone", async () => {
    await open({ answers: false });
    await page.getByText("doesn’t answer").waitFor();
    await open();
    await page.getByText("application answers").waitFor();
    for (const socket of host.clients) socket.close();
    await page.getByText("doesn’t answer").waitFor();
    assert.ok(await field().isDisabled());
  });

  it("speaks the eight languages, each with all of its words", async () => {
    const list = new URL("../../bundle/inspector/words.js", import.meta.url);
    new Function(readFileSync(fileURLToPath(list), "utf8"))();
    const { en, ...others } = globalThis.kPageWords;
    assert.deepEqual(Object.keys(others).sort(), ["de", "es", "fr", "ja", "ko", "zh_CN", "zh_TW"]);
    for (const [language, words] of Object.entries(others)) {
      assert.deepEqual(Object.keys(words), Object.keys(en), language);
      await open({ language });
      await page.getByText(words.hint).waitFor();
      await page.getByText(words.ready).waitFor();
      assert.equal(await page.getAttribute("html", "lang"), language.replace("_", "-"));
      await page.close();
    }
    await open({ language: "pt" });
    await page.getByText(en.hint).waitFor();
  });
});
