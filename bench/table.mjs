// Makes the table and the plots from the benchmarks' results.
//
//   node bench/table.mjs RESULTS_FOLDER [--docs]
//
// Prints the table. With --docs it also goes into README.md and docs/performance.md, between the
// lines that say so, and the plots into docs/images.
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync, writeFileSync } from "node:fs";
import { cpus } from "node:os";
import { join } from "node:path";
import { linePlot } from "./plot.mjs";

const [folder, ...options] = process.argv.slice(2);
const root = new URL("..", import.meta.url).pathname;

function median(figures) {
  const sorted = figures.toSorted((a, b) => a - b);
  return sorted[Math.floor(sorted.length / 2)];
}

// All figures by "work, who": times in seconds, rates per second.
function readResults() {
  const all = new Map();
  const add = (work, who, figure) => {
    const key = `${work}, ${who}`;
    all.set(key, [...(all.get(key) ?? []), figure]);
  };
  const addOperations = (file, who) => {
    for (const run of JSON.parse(readFileSync(join(folder, file), "utf8")).benchmarks) {
      if (run.run_type === "iteration") add(run.run_name, who, run.cpu_time / 1e9);
    }
  };
  // Rounds in their order: what one round measured belongs together.
  for (let n = 1; existsSync(join(folder, `operations-${n}.json`)); ++n) {
    addOperations(`operations-${n}.json`, "velomar");
    addOperations(`trusting-${n}.json`, "trusting");
  }
  for (const file of ["exchange.jsonl", "program.jsonl"]) {
    for (const line of readFileSync(join(folder, file), "utf8").trim().split("\n")) {
      const { work, who, value } = JSON.parse(line);
      add(work, who, value);
    }
  }
  return all;
}

const results = readResults();
const rounds = (work, who) => results.get(`${work}, ${who}`);
const figure = (work, who = "velomar") => rounds(work, who) && median(rounds(work, who));

// The middle of what the rounds say of two contenders: a machine whose speed drifts is the same for
// both within a round. NaN: one of them is missing.
function ratio(over, under) {
  if (!over || !under) return NaN;
  return median(over.map((value, round) => value / under[round]));
}

// How many times faster `ours` is than a peer: times divide one way, rates the other.
const byTime = (ours, peer) => ratio(rounds(peer, "velomar"), rounds(ours, "velomar"));
const byRate = (work, who) => ratio(rounds(work, "velomar"), rounds(work, who));

const kLess = "at most";

// Work, how it is measured, what is aimed at: either ratios to peers or figures as they are.
function rows() {
  const message = (label, size, boost, lmdb, copy) => ({
    label,
    ours: time(figure(`message<SimdbMap>/${size}`)),
    ratios: [
      ["Boost map", byTime(`message<SimdbMap>/${size}`, `message<BoostMap>/${size}`), ...boost],
      ["LMDB", byTime(`message<SimdbMap>/${size}`, `message<LmdbMap>/${size}`), ...lmdb],
      ["memcpy", byTime(`message<SimdbMap>/${size}`, `message<CopyOnly>/${size}`), ...copy],
    ],
  });
  const walk = (label, work, keys, floor) => ({
    label,
    ours: time(figure(`${work}/${keys}/4096`)),
    ratios: [["bare walk", byTime(`${work}/${keys}/4096`, `bareWalk/${keys}/4096`), floor, 0.8]],
  });
  const limit = (label, shown, value, floor, aim, format) => ({
    label,
    ours: shown,
    limits: [[value, floor, aim, format]],
  });
  const base64 = (label, size) => ({
    label,
    ours: time(figure(`decodeBase64/${size}`)),
    ratios: [
      ["OpenSSL", byTime(`decodeBase64/${size}`, `decodeBase64OpenSsl/${size}`), 1.25, 4],
    ],
  });
  const beside = (label, work, floor) => ({
    label,
    ours: time(figure(work)),
    limits: [[ratio(rounds(work, "velomar"), rounds(work, "bare client")), floor, 1.2, (x) => `${round(x)} x bare client`]],
  });
  const spread = (label, work) => ({
    label,
    ours: `${time(figure(`${work} p50`))} / ${time(figure(`${work} p99`))}`,
    limits: [
      [figure(`${work} p50`), 6e-3, 5.2e-3, (x) => `p50 ${time(x)}`],
      [figure(`${work} p99`), 12e-3, 10.5e-3, (x) => `p99 ${time(x)}`],
    ],
  });
  const through = (label, work, floor, aim) => ({
    label,
    ours: rate(figure(work)),
    least: [figure(work), floor, aim],
  });
  return [
    message("put, get, del of one message, 200 bytes", 200, [4, 6], [9, 12], [0.35, 0.5]),
    message("the same, 2 KB", 2048, [3, 4.5], [6, 10], [0.45, 0.65]),
    message("the same, 20 KB", 20480, [1.2, 1.6], [2, 3], [0.65, 0.85]),
    message("the same, 200 KB", 204800, [0.85, 1], [1.1, 1.4], [0.7, 0.85]),
    {
      label: "messages of 200 bytes between two processes, backlog of 64",
      ours: rate(figure("exchange")),
      ratios: [
        ["message_queue", byRate("exchange", "message_queue"), 1.2, 2],
        ["seqpacket", byRate("exchange", "seqpacket"), 2.5, 4],
        ["LMDB", byRate("exchange", "LMDB"), 6, 10],
      ],
    },
    {
      label: "2 processes replacing and reading 64 keys",
      ours: rate(figure("replace and read")),
      ratios: [
        ["Boost map", byRate("replace and read", "Boost map"), 1.4, 2.5],
        ["LMDB", byRate("replace and read", "LMDB"), 7, 14],
      ],
    },
    {
      label: "get of a present key among 10",
      ours: time(figure("getPresent<SimdbMap>")),
      ratios: [
        ["Boost map", byTime("getPresent<SimdbMap>", "getPresent<BoostMap>"), 1, 1.5],
        ["LMDB", byTime("getPresent<SimdbMap>", "getPresent<LmdbMap>"), 1.6, 2.5],
      ],
    },
    walk("get of an absent key, 10 present", "getAbsent", 10, 0.35),
    walk("the same, 1,000 present", "getAbsent", 1000, 0.5),
    walk("the same, 4,000 present", "getAbsent", 4000, 0.6),
    walk("listing 10 keys", "listKeys", 10, 0.5),
    base64("Base64 decode, 16 KB", 16384),
    base64("Base64 decode, 1 MB", 1048576),
    beside("start to registration frame", "start", 2),
    beside("key appears to its three blank-state frames, one CPU", "answer", 1.5),
    spread('press to its value in "ToXPlane", idle link: p50 / p99', "press"),
    spread('message in "FromXPlane" to its frame, idle link: p50 / p99', "frame"),
    through("titles of 50 bytes a second, 10 waiting", "titles/10", 2e4, 1e5),
    through("titles of 50 bytes a second, 1,000 waiting", "titles/1000", 2e4, 1e5),
    through("images of 20 KB a second, file and frame included", "images", 2000, 1e4),
    limit(`idle, link up: share of a core; a bare sleep of 10 ms takes ${percent(figure("idle cpu", "bare sleep"))}`,
      percent(figure("idle cpu")), figure("idle cpu"), 0.003, 0.001, percent),
    limit("idle, link up: resident", megabytes(figure("idle memory")), figure("idle memory"), 8e6,
      5e6, megabytes),
  ];
}

function round(x) {
  return x >= 100 ? x.toFixed(0) : x >= 10 ? x.toFixed(1) : x.toFixed(2);
}
function time(seconds) {
  if (seconds === undefined) return "-";
  const [unit, factor] = seconds < 1e-6 ? ["ns", 1e9] : seconds < 1e-3 ? ["us", 1e6] : ["ms", 1e3];
  return `${round(seconds * factor)} ${unit}`;
}
function rate(perSecond) {
  return `${Math.round(perSecond).toLocaleString("en")} /s`;
}
function percent(share) {
  return `${(share * 100).toFixed(2)} %`;
}
function megabytes(bytes) {
  return `${(bytes / 1e6).toFixed(1)} MB`;
}

const mark = (good, best) => (best ? "aim" : good ? "floor" : "**below**");

function lines({ label, ours, ratios = [], limits = [], least }) {
  const cells = [
    ...ratios
      .filter(([, ratio]) => !Number.isNaN(ratio))
      .map(([who, ratio, floor, aim]) => [
        `${round(ratio)} x ${who}`, floor, aim, mark(ratio >= floor, ratio >= aim),
      ]),
    ...limits.map(([value, floor, aim, format]) => [
      format(value), `${kLess} ${format(floor)}`, `${kLess} ${format(aim)}`,
      mark(value <= floor, value <= aim),
    ]),
    ...(least ? [[rate(least[0]), rate(least[1]), rate(least[2]), mark(least[0] >= least[1], least[0] >= least[2])]] : []),
  ];
  return cells.map(([measured, floor, aim, reached], i) =>
    `| ${i === 0 ? label : ""} | ${i === 0 ? ours : ""} | ${measured} | ${floor} | ${aim} | ${reached} |`);
}

function version(command, ...words) {
  return execFileSync(command, words, { encoding: "utf8" }).split("\n")[0];
}

const table = [
  "| Work | ours | measured | floor | aim | reached |",
  "|---|---|---|---|---|---|",
  ...rows().flatMap(lines),
  "",
  `${cpus().length} x ${cpus()[0].model.trim()}, ${version("uname", "-sr")}, ${version("g++", "--version")}, -O3.`,
].join("\n");
console.log(table);

const series = (name, work, xs, who) => ({
  name,
  points: xs.map((x) => [x, figure(work(x), who)]).filter(([, y]) => y !== undefined),
});

const plots = {
  "performance-slots": linePlot({
    title: "Cost beside the number of slots, 10 keys in use",
    x: "slots",
    y: "seconds",
    series: ["getAbsent", "listKeys", "bareWalk"].map((work) =>
      series(work, (n) => `${work}/10/${n}`, [64, 512, 4096, 16384, 65536])),
  }),
  "performance-sizes": linePlot({
    title: "put, get and del of one message beside its size",
    x: "bytes",
    y: "seconds",
    series: [["Velomar", "SimdbMap"], ["Boost map", "BoostMap"], ["LMDB", "LmdbMap"], ["memcpy", "CopyOnly"]].map(
      ([name, map]) => series(name, (size) => `message<${map}>/${size}`,
        [1, 200, 2048, 20480, 204800, 1048576, 8388598])),
  }),
  "performance-waiting": linePlot({
    title: "Titles taken in a second beside the number that waits",
    x: "waiting",
    y: "per second",
    series: [series("titles", (n) => `titles/${n}`, [1, 10, 100, 1000, 4000])],
  }),
};

// What grows, with what.
function growth() {
  const all = [
    "| Threads in each process | 1 process | 2 processes | 4 processes |",
    "|---|---|---|---|",
    ...[1, 2, 4].map((threads) =>
      `| ${threads} | ${[1, 2, 4].map((p) => rate(figure(`churn/${p}/${threads}`))).join(" | ")} |`),
    "",
    "| Contexts on show | welcome to the whole replay |",
    "|---|---|",
    ...[1, 10, 100, 500]
      .filter((n) => figure(`replay/${n}`) !== undefined)
      .map((n) => `| ${n} | ${time(figure(`replay/${n}`))} |`),
  ];
  return all.join("\n");
}

// What it costs that no index from a region is used before it was compared with the block count.
function checks() {
  const all = ["| Work | with the look | without | costs |", "|---|---|---|---|"];
  for (const work of ["message<SimdbMap>/200", "message<SimdbMap>/20480", "getPresent<SimdbMap>", "getAbsent/1000/4096"]) {
    const cost = ratio(rounds(work, "velomar"), rounds(work, "trusting")) - 1;
    all.push(`| \`${work}\` | ${time(figure(work))} | ${time(figure(work, "trusting"))} | ${percent(cost)} |`);
  }
  return all.join("\n");
}

function replaceBetween(file, name, text) {
  const path = join(root, file);
  const old = readFileSync(path, "utf8");
  const [begin, end] = [`<!-- ${name} -->`, `<!-- end of ${name} -->`];
  if (!old.includes(begin) || !old.includes(end)) throw new Error(`${file} has no place for ${name}`);
  const head = old.slice(0, old.indexOf(begin) + begin.length);
  writeFileSync(path, `${head}\n${text}\n${old.slice(old.indexOf(end))}`);
}

if (options.includes("--docs")) {
  replaceBetween("README.md", "figures", table);
  replaceBetween("docs/performance.md", "figures", table);
  replaceBetween("docs/performance.md", "growth", growth());
  replaceBetween("docs/performance.md", "checks", checks());
  for (const [name, svg] of Object.entries(plots)) {
    writeFileSync(join(root, "docs/images", `${name}.svg`), svg);
  }
}
