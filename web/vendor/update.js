// Copies the page's libraries to web/page/vendor, whence they are served: `npm ci && node update.js`, in this folder.
// The copies are committed, so that neither building nor running the robot needs npm.
import { copyFileSync, mkdirSync } from "node:fs";

const FILES = [
  ["uplot/dist/uPlot.iife.min.js", "uPlot.iife.min.js"],
  ["uplot/dist/uPlot.min.css", "uPlot.min.css"],
  ["uplot/LICENSE", "uPlot.LICENSE"],
];

const here = new URL(".", import.meta.url);
const target = new URL("../page/vendor/", here);
mkdirSync(target, { recursive: true });
for (const [from, to] of FILES) copyFileSync(new URL(`node_modules/${from}`, here), new URL(to, target));
