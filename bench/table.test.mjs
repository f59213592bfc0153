// Tests that the pages have a place for each table, and get all of them or none.
import assert from "node:assert/strict";
import { cpSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { after, beforeEach, test } from "node:test";
import { writePages } from "./pages.mjs";
import { kPlots } from "./plots.mjs";
import { Results } from "./results.mjs";
import { kPages } from "./tables.mjs";

const source = new URL("..", import.meta.url).pathname;
const root = mkdtempSync(join(tmpdir(), "velomar-bench-"));
after(() => rmSync(root, { recursive: true }));

// Results in which each contender of each benchmark takes 2 s, or does 2 a second, but for the
// given figures.
function measured(figures = {}) {
  const results = new Results(root);
  results.has = () => true;
  results.kinds = () => ["plain"];
  results.rounds = (work, who = "velomar") => {
    const given = figures[`${work}, ${who}`];
    if (given === null) throw new Error("no figure");
    return given ?? [2, 2, 2];
  };
  return results;
}

function write(results) {
  writePages(root, { pages: kPages, plots: kPlots, origin: "Measured now." }, results);
}
const page = (file) => readFileSync(join(root, file), "utf8");
const files = [...Object.keys(kPages), ...Object.keys(kPlots)];

beforeEach(() => {
  for (const file of files) {
    mkdirSync(dirname(join(root, file)), { recursive: true });
    cpSync(join(source, file), join(root, file));
  }
  writeFileSync(join(root, "exchange.jsonl"), '{"work":"w","who":"a","value":3}\n');
  writeFileSync(join(root, "bridge.jsonl"), '{"work":"w","who":"c","value":1}\n');
  writeFileSync(
    join(root, "program.jsonl"),
    '{"work":"w","who":"b","value":1}\n{"work":"w","who":"b","value":2}\n',
  );
});

test("a round of operations is the median of its repetitions, and a ratio is that of the rounds", () => {
  for (const [n, cpu] of [
    [1, [9e9, 1e9, 2e9]],
    [2, [4e9, 4e9, 4e9]],
    [3, [8e9]],
  ]) {
    const benchmarks = cpu.map((cpu_time) => ({ run_type: "iteration", run_name: "op", cpu_time }));
    benchmarks.push({ run_type: "aggregate", run_name: "op", cpu_time: 1e12 });
    benchmarks.push({ run_type: "iteration", run_name: "peer", cpu_time: cpu[0] });
    writeFileSync(join(root, `operations-${n}.json`), JSON.stringify({ benchmarks }));
  }
  const results = new Results(root);
  assert.deepEqual(results.rounds("op"), [2, 4, 8]);
  assert.equal(results.figure("peer"), 8);
  assert.deepEqual(results.ratios(["op", "velomar"], ["peer", "velomar"]), [2 / 9, 1, 1]);
  assert.equal(results.ratio(["op", "velomar"], ["peer", "velomar"]), 1);
  assert.throws(() => results.rounds("op", "LMDB"), /LMDB/);
});

test("every table goes to its place, with where it comes from", () => {
  write(
    measured({
      "start, velomar": [0.003, 0.005, 0.004],
      "start, bare client": [0.002, 0.002, 0.002],
    }),
  );
  assert.match(page("README.md"), /From its start until it has registered \| 4\.00 ms \|/);
  assert.match(
    page("docs/performance.md"),
    /start to registration frame \| 4\.00 ms \| 2\.00 x \| 2\.00 x \| 1\.20 x \| floor/,
  );
  for (const file of Object.keys(kPages)) assert.match(page(file), /Measured now\./);
});

test("if one figure is missing, no page changes", () => {
  const before = files.map(page);
  assert.throws(() => write(measured({ "getAbsent/1000/4096, velomar": null })));
  assert.deepEqual(files.map(page), before);
});
