// Finds barriers that keep people from using a page, as far as a program can find them.
import { createRequire } from "node:module";

const { source } = createRequire(import.meta.url)("axe-core");

// The features as Page.emulateMedia takes them.
export const kSchemes = {
  light: { colorScheme: "light", forcedColors: "none" },
  dark: { colorScheme: "dark", forcedColors: "none" },
  forced: { colorScheme: "dark", forcedColors: "active" },
};

// Returns a line for each fault, with the first element that has it.
export async function findBarriers(page) {
  await page.evaluate(source);
  const { violations } = await page.evaluate(() =>
    globalThis.axe.run(document, { rules: { "target-size": { enabled: true } } }),
  );
  return violations.map(({ id, help, nodes }) => `${id}: ${help}: ${nodes[0].html}`);
}
