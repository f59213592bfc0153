// Puts tables and plots into the pages: all of them, or none if one can't be made.
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";

function replaceBetween(page, file, name, text) {
  const [begin, end] = [`<!-- ${name} -->`, `<!-- end of ${name} -->`];
  const [from, to] = [page.indexOf(begin), page.indexOf(end)];
  if (from < 0 || to < from) throw new Error(`${file} has no place for ${name}`);
  return `${page.slice(0, from + begin.length)}\n${text}\n${page.slice(to)}`;
}

// `pages`: for each file the makers of its tables by name. `plots`: a maker for each file.
// `origin`: how and when the figures were measured.
export function writePages(root, { pages, plots, origin }, results) {
  const made = new Map();
  for (const [file, tables] of Object.entries(pages)) {
    const old = readFileSync(join(root, file), "utf8");
    const all = { ...tables, origin: () => origin };
    made.set(
      file,
      Object.entries(all).reduce(
        (page, [name, make]) => replaceBetween(page, file, name, make(results)),
        old,
      ),
    );
  }
  for (const [file, make] of Object.entries(plots)) made.set(file, make(results));
  for (const [file, text] of made) writeFileSync(join(root, file), text);
}
