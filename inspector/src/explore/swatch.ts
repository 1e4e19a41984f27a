// A short piece of a curve, as it is drawn.

import type { Dash } from "../data/source";
import { dashPattern } from "../plot/canvas";

const SVG = "http://www.w3.org/2000/svg";
const LENGTH = 22;
const WIDTH = 2;

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
