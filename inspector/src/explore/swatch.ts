// How a signal looks in lists: its colour as it can be seen, and a short piece of its curve.

import type { Dash } from "../data/source";
import { dashPattern } from "../plot/canvas";
import { visibleColor } from "../report/colors";

const SVG = "http://www.w3.org/2000/svg";
const LENGTH = 22;
const WIDTH = 2;

let ground: string | null = null; // of the page; null until it is looked for

/** The colour of the store, or one like it that can be seen on the ground of the page. */
export function seenColor(color: string): string {
  if (ground === null) {
    ground = getComputedStyle(document.documentElement).getPropertyValue("--ground").trim();
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => (ground = null), { once: true });
  }
  return visibleColor(color, ground);
}

/** Hidden from screen readers: the text beside it names the signal. */
export function swatch(color: string, dash: Dash): SVGSVGElement {
  const picture = document.createElementNS(SVG, "svg");
  const line = document.createElementNS(SVG, "line");
  const attributes = { x1: 0, x2: LENGTH, y1: 5, y2: 5, stroke: color, "stroke-width": WIDTH };
  for (const [name, value] of Object.entries(attributes)) line.setAttribute(name, String(value));
  line.setAttribute("stroke-dasharray", dashPattern(dash, WIDTH).join(" "));
  if (dash === ":") line.setAttribute("stroke-linecap", "round");
  picture.setAttribute("class", "line-swatch");
  picture.setAttribute("width", String(LENGTH));
  picture.setAttribute("height", "10");
  picture.setAttribute("aria-hidden", "true");
  picture.append(line);
  return picture;
}
