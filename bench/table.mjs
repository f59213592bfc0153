// Makes the tables and plots of README.md and docs/performance.md from the benchmarks' results.
//
//   node bench/table.mjs RESULTS_FOLDER [--docs]
//
// Prints the tables that can be made. With --docs all of them and the plots go into the pages,
// between the lines that say so; if one can't be made, nothing is written.
import { execFileSync } from "node:child_process";
import { cpus } from "node:os";
import { writePages } from "./pages.mjs";
import { kPlots } from "./plots.mjs";
import { Results } from "./results.mjs";
import { kPages } from "./tables.mjs";

const root = new URL("..", import.meta.url).pathname;

function output(command, ...words) {
  return execFileSync(command, words, { cwd: root, encoding: "utf8" }).split("\n")[0];
}

function origin() {
  const isChanged = output("git", "status", "--porcelain", "--untracked-files=no") !== "";
  const commit =
    output("git", "rev-parse", "--short=10", "HEAD") + (isChanged ? " with changes" : "");
  const machine = `${cpus().length} x ${cpus()[0].model.trim()}, ${output("uname", "-sr")}`;
  const date = new Date().toISOString().slice(0, 10);
  return `Measured on ${date} at commit ${commit}: ${machine}, ${output("g++", "--version")}, -O3.`;
}

function print(results) {
  for (const [name, make] of Object.values(kPages).flatMap(Object.entries)) {
    try {
      console.log(`\n${make(results)}`);
    } catch (error) {
      console.log(`\n(${name} is left out: ${error.message})`);
    }
  }
  console.log(`\n${origin()}`);
}

const [folder, ...options] = process.argv.slice(2);
const results = new Results(folder);
print(results);
if (options.includes("--docs")) {
  writePages(root, { pages: kPages, plots: kPlots, origin: origin() }, results);
}
