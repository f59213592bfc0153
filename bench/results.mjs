// The benchmarks' results, in rounds. Figures of the same round were measured close in time.
import { existsSync, readFileSync } from "node:fs";
import { join } from "node:path";

export function median(figures) {
  const sorted = figures.toSorted((a, b) => a - b);
  return sorted[Math.floor(sorted.length / 2)];
}

// Reads Google Benchmark's output: for each benchmark the median of its repetitions.
function readOperations(file, add) {
  const repetitions = new Map();
  for (const run of JSON.parse(readFileSync(file, "utf8")).benchmarks) {
    if (run.run_type !== "iteration") continue;
    repetitions.set(run.run_name, [...(repetitions.get(run.run_name) ?? []), run.cpu_time / 1e9]);
  }
  for (const [work, figures] of repetitions) add(work, median(figures));
}

// All figures by work and contender: times in seconds, rates per second.
export class Results {
  #figures = new Map();

  constructor(folder) {
    const path = (name) => join(folder, name);
    for (const name of ["operations", "texts", "faces"]) {
      for (let n = 1; existsSync(path(`${name}-${n}.json`)); ++n) {
        readOperations(path(`${name}-${n}.json`), (...run) => this.#add("velomar", ...run));
      }
    }
    for (const name of ["exchange.jsonl", "program.jsonl", "bridge.jsonl"]) {
      for (const line of readFileSync(path(name), "utf8").trim().split("\n")) {
        const { work, who, value } = JSON.parse(line);
        this.#add(who, work, value);
      }
    }
  }

  #add(who, work, figure) {
    const key = `${work}, ${who}`;
    this.#figures.set(key, [...(this.#figures.get(key) ?? []), figure]);
  }

  has(work, who = "velomar") {
    return this.#figures.has(`${work}, ${who}`);
  }

  // The parts of the works' names between `prefix` and `suffix`, each once.
  kinds(prefix, suffix) {
    const names = [...this.#figures.keys()].map((key) => key.split(", ")[0]);
    return [...new Set(names)]
      .filter((name) => name.startsWith(prefix) && name.endsWith(suffix))
      .map((name) => name.slice(prefix.length, -suffix.length));
  }

  // All rounds of a figure. Throws if it wasn't measured.
  rounds(work, who = "velomar") {
    const figures = this.#figures.get(`${work}, ${who}`);
    if (!figures) throw new Error(`no figure of ${work}, ${who}`);
    return figures;
  }

  figure(work, who) {
    return median(this.rounds(work, who));
  }

  // The ratio of two contenders in each round. Within a round drift of the machine's speed is the
  // same for both.
  ratios([work, who], [otherWork, otherWho]) {
    const under = this.rounds(otherWork, otherWho);
    return this.rounds(work, who).map((value, round) => value / under[round]);
  }

  ratio(over, under) {
    return median(this.ratios(over, under));
  }
}
