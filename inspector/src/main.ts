// The page: a report if it carries a comparison, else the inspector of the server that it came from.

import "uplot/dist/uPlot.min.css";
import "./styles/page.css";
import "./styles/table.css";
import "./styles/plots.css";
import "./styles/report.css";
import { EmbeddedSource, hasReport } from "./data/embedded";
import { element } from "./dom";
import { startInspector } from "./explore/start";
import { startReport } from "./report/report";

const root = element("div", "page");
document.body.append(root);
if (hasReport(document)) void startReport(root, new EmbeddedSource(document));
else startInspector(root);
