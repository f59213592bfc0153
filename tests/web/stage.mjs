// The processes that a test needs, the plug-in installed in a folder of its own, and a browser to
// look at them with. Leaves nothing behind.
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
  "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync",
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
    this.child = spawn(file, words, { stdio: ["pipe", "pipe", "inherit"] });
    this.child.stdin.on("error", () => {}); // it may have gone
    createInterface(this.child.stdout).on("line", (line) => this.lines.push(line));
    this.ended = new Promise((resolve) => this.child.once("exit", resolve));
  }

  // The first line behind `from` that has all the words.
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

export class Stage {
  #folder = mkdtempSync(join(tmpdir(), "velomar-web-"));
  pages = [];
  errors = []; // what any page's console has complained of

  async open() {
    this.#removeRegions();
    const { VELOMAR_DECK, VELOMAR_BUNDLE, CHROMIUM = "/usr/bin/chromium" } = process.env;
    const installed = join(this.#folder, basename(VELOMAR_BUNDLE));
    cpSync(VELOMAR_BUNDLE, installed, { recursive: true });
    this.deck = new Program(VELOMAR_DECK, installed);
    this.startCockpit();
    [this.address] = /http:\S+/.exec(await this.deck.line("http://"));
    const mayNotSandbox = process.getuid() === 0;
    this.browser = await chromium.launch({
      executablePath: CHROMIUM,
      args: [...kQuietFlags, ...(mayNotSandbox ? ["--no-sandbox"] : [])],
    });
  }

  startCockpit() {
    this.cockpit = new Program(process.env.VELOMAR_COCKPIT, "--aircraft");
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
    await this.cockpit?.kill();
    rmSync(this.#folder, { recursive: true, force: true });
    this.#removeRegions();
  }

  #removeRegions() {
    for (const name of ["ToXPlane", "FromXPlane"]) {
      rmSync(`/var/tmp/simdb_${name}`, { force: true });
    }
  }
}
