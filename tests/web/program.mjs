// Programs that a test starts, and waiting.
import { spawn } from "node:child_process";
import { createInterface } from "node:readline";
import { setTimeout as pause } from "node:timers/promises";

// Much longer than anything here takes, so that a busy machine fails no test.
export const kPatience = 60_000; // ms

// Waits until `look` gives something, and returns it.
export async function eventually(what, look, patience = kPatience) {
  const end = Date.now() + patience;
  for (;;) {
    const found = await look();
    if (found) return found;
    if (Date.now() > end) throw new Error(`waited in vain: ${what}`);
    await pause(5);
  }
}

// A program in a process group of its own, which speaks in lines.
export class Program {
  lines = [];

  constructor(file, words, environment = {}) {
    this.child = spawn(file, words, {
      stdio: ["pipe", "pipe", "pipe"],
      detached: true,
      env: { ...process.env, ...environment },
    });
    this.child.stdin.on("error", () => {}); // it may have gone
    for (const output of [this.child.stdout, this.child.stderr]) {
      createInterface(output).on("line", (line) => this.lines.push(line));
    }
    this.ended = new Promise((resolve) => this.child.once("exit", resolve));
  }

  // The first line after `from` that has all the words.
  line(words, from = 0, patience = kPatience) {
    const has = (line) => [words].flat().every((word) => line.includes(word));
    return eventually(`a line with ${words}`, () => this.lines.slice(from).find(has), patience);
  }

  write(line) {
    this.child.stdin.write(`${line}\n`);
  }

  async end() {
    try {
      process.kill(-this.child.pid, "SIGKILL");
    } catch {
      // It has ended by itself.
    }
    await this.ended;
  }
}
