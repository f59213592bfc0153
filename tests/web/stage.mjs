// Starts the processes that a test needs, with the plug-in installed in a folder of its own, and a
// browser. All of it is removed at the end.
import { spawn } from "node:child_process";
import { cpSync, mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { createInterface } from "node:readline";
import { setTimeout as pause } from "node:timers/promises";
import { chromium } from "playwright-core";

// Much longer than anything here takes, so that a busy machine fails no test.
export const kPatience = 60_000; // ms

const kQuietFlags = [
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

// Waits until `look` gives something, and returns it.
export async function eventually(what, look) {
  const end = Date.now() + kPatience;
  for (;;) {
    const found = await look();
    if (found) return found;
    if (Date.now() > end) throw new Error(`waited in vain: ${what}`);
    await pause(20);
  }
}

// A program that speaks in lines.
class Program {
  lines = [];

  constructor(file, ...words) {
    this.child = spawn(file, words, { stdio: ["pipe", "pipe", "pipe"] });
    this.child.stdin.on("error", () => {}); // it may have gone
    for (const output of [this.child.stdout, this.child.stderr]) {
      createInterface(output).on("line", (line) => this.lines.push(line));
    }
    this.ended = new Promise((resolve) => this.child.once("exit", resolve));
  }

  // The first line after `from` that has all the words.
  line(words, from = 0) {
    const has = (line) => [words].flat().every((word) => line.includes(word));
    return eventually(`a line with ${words}`, () => this.lines.slice(from).find(has));
  }

  write(line) {
    this.child.stdin.write(`${line}\n`);
  }

  async kill() {
    this.child.kill("SIGKILL");
    await this.ended;
  }

  async quit() {
    this.write("quit");
    await this.ended;
  }
}

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
  pages = [];
  errors = []; // from the console of any page

  async open() {
    this.#removeRegions();
    const { VELOMAR_DECK, VELOMAR_BUNDLE } = process.env;
    const installed = join(this.#folder, basename(VELOMAR_BUNDLE));
    cpSync(VELOMAR_BUNDLE, installed, { recursive: true });
    this.#deckCommand = [VELOMAR_DECK, "--profile", join(this.#folder, "profile"), installed];
    this.deck = new Program(...this.#deckCommand);
    this.startBridge();
    await this.#learnAddress();
    this.browser = await openBrowser();
  }

  async #learnAddress() {
    [this.address] = /http:\S+/.exec(await this.deck.line("http://"));
  }

  // Starts the deck again at the same port, which is free only after the first one has ended.
  async restartDeck() {
    const { port } = new URL(this.address);
    await this.deck.quit();
    const [file, ...words] = this.#deckCommand;
    this.deck = new Program(file, "--port", port, ...words);
    await this.#learnAddress();
  }

  startBridge() {
    this.bridge = new Program(process.env.VELOMAR_BRIDGE, "--simulator", "trainer", "--verbose");
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
    this.pages.push(page);
    return page;
  }

  async state() {
    return (await fetch(`${this.address}state`)).json();
  }

  async close() {
    await this.browser?.close();
    await this.deck?.quit();
    await this.bridge?.kill();
    rmSync(this.#folder, { recursive: true, force: true });
    this.#removeRegions();
  }

  #removeRegions() {
    for (const name of ["ToXPlane", "FromXPlane"]) {
      rmSync(`/var/tmp/simdb_${name}`, { force: true });
    }
  }
}
