// The checks of all JavaScript in the tree. Run ESLint from the tree's root: paths count from there.
import js from "@eslint/js";
import globals from "globals";

export default [
  js.configs.recommended,
  { rules: { eqeqeq: "error", "no-var": "error", "prefer-const": "error" } },
  { files: ["**/*.js"], languageOptions: { globals: globals.browser } },
  { files: ["bundle/inspector/*.js"], languageOptions: { sourceType: "script" } },
  // Tests run in Node.js and hand functions over to the browser.
  { files: ["**/*.mjs"], languageOptions: { globals: { ...globals.node, ...globals.browser } } },
];
