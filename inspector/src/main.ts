// The page: a report if it carries data, else the inspector of the server that it came from.

import "uplot/dist/uPlot.min.css";
import "./styles/page.css";
import "./styles/table.css";
import "./styles/plots.css";
import "./styles/report.css";
import "./styles/campaign.css";
import { startCampaign } from "./campaign/start";
import { EmbeddedSource, carriesData, readEmbedded } from "./data/embedded";
import { element } from "./dom";
import { startInspector } from "./explore/start";
import { showFailure, startReport } from "./report/report";

/** What to show for each kind of data that a page can carry. */
async function startCarried(root: HTMLElement): Promise<void> {
  const data = await readEmbedded(document);
  switch (data.kind) {
    case "comparison":
      return startReport(root, new EmbeddedSource(document, data));
    case "campaign":
      return startCampaign(root, data);
    default:
      throw new Error(`it holds ${data.kind}, which this page does not know`);
  }
}

const root = element("div", "page");
document.body.append(root);
if (carriesData(document)) startCarried(root).catch((error: unknown) => showFailure(root, error));
else startInspector(root);
