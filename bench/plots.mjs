// The plots of docs/performance.md, by file.
import { linePlot } from "./plot.mjs";

const series = (results, name, work, xs) => ({
  name,
  points: xs.map((x) => [x, results.figure(work(x))]),
});

const kMaps = [
  ["Velomar", "SimdbMap"],
  ["Boost map", "BoostMap"],
  ["LMDB", "LmdbMap"],
  ["memcpy", "CopyOnly"],
];

export const kPlots = {
  "docs/images/performance-slots.svg": (results) =>
    linePlot({
      title: "Cost beside the number of slots, 10 keys in use",
      x: "slots",
      y: "seconds",
      series: ["getAbsent", "listKeys", "bareWalk"].map((work) =>
        series(results, work, (n) => `${work}/10/${n}`, [64, 512, 4096, 16384, 65536]),
      ),
    }),
  "docs/images/performance-sizes.svg": (results) =>
    linePlot({
      title: "put, get and del of one message beside its size",
      x: "bytes",
      y: "seconds",
      series: kMaps.map(([name, map]) =>
        series(
          results,
          name,
          (size) => `message<${map}>/${size}`,
          [1, 200, 2048, 20480, 204800, 1048576, 8388598].filter((size) =>
            results.has(`message<${map}>/${size}`),
          ),
        ),
      ),
    }),
  "docs/images/performance-waiting.svg": (results) =>
    linePlot({
      title: "Titles taken in a second beside the number that waits",
      x: "waiting",
      y: "per second",
      series: [series(results, "titles", (n) => `titles/${n}`, [1, 10, 100, 1000, 4000])],
    }),
};
