// The processes that a test needs, the plug-in installed in a folder of its own, and a browser to
// look at them with. All of it is removed at the end.
import { cpSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { chromium } from "playwright-core";
import { kPatience, Program } from "./program.mjs";

const kQuietFlags = [
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

export function openBrowser() {
  const mayNotSandbox = process.getuid() === 0;
  return chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: [...kQuietFlags, ...(mayNotSandbox ? ["--no-sandbox"] : [])],
  });
}

export class Stage {
  #folder = mkdtempSync(join(tmpdir(), "velomar-web-"));
  #deckCommand;
  errors = []; // what any page's console has complained of

  async open() {
    this.#removeRegions();
    const { VELOMAR_DECK, VELOMAR_BUNDLE } = process.env;
    const installed = join(this.#folder, basename(VELOMAR_BUNDLE));
    cpSync(VELOMAR_BUNDLE, installed, { recursive: true });
    this.#deckCommand = [VELOMAR_DECK, "--profile", join(this.#folder, "profile"), installed];
    this.deck = new Program(this.#deckCommand[0], this.#deckCommand.slice(1));
    this.startBridge();
    await this.#learnAddress();
    this.browser = await openBrowser();
  }

  async #learnAddress() {
    [this.address] = /http:\S+/.exec(await this.deck.line("http://"));
  }

  async #quitDeck() {
    this.deck.write("quit");
    await this.deck.ended;
  }

  // Starts it again at the same port, which is only then free.
  async restartDeck() {
    const { port } = new URL(this.address);
    await this.#quitDeck();
    const [file, ...words] = this.#deckCommand;
    this.deck = new Program(file, ["--port", port, ...words]);
    await this.#learnAddress();
  }

  startBridge() {
    this.bridge = new Program(process.env.VELOMAR_BRIDGE, ["--simulator", "trainer", "--verbose"]);
  }

  async openPage(options = {}) {
    const context = await this.browser.newContext({
      viewport: { width: 1500, height: 1000 },
      ...options,
    });
    const page = await context.newPage();
    page.setDefaultTimeout(kPatience);
    page.on("pageerror", (error) => this.errors.push(String(error)));
    page.on("console", (message) => {
      if (["error", "warning"].includes(message.type())) this.errors.push(message.text());
    });
    return page;
  }

  async state() {
    return (await fetch(`${this.address}state`)).json();
  }

  async close() {
    await this.browser?.close();
    if (this.deck) await this.#quitDeck();
    await this.bridge?.end();
    rmSync(this.#folder, { recursive: true, force: true });
    this.#removeRegions();
  }

  #removeRegions() {
    for (const name of ["ToXPlane", "FromXPlane"]) {
      rmSync(`/var/tmp/simdb_${name}`, { force: true });
    }
  }
}
