// The page: a report if it carries a comparison, else the inspector of the server that it came from.

import "uplot/dist/uPlot.min.css";
import "./styles/page.css";
import { fill } from "./dom";
import { element } from "./dom";

function start(): void {
  fill(document.body, element("p", "", {}, "This page has no comparison."));
}

start();
