// The inspector: what the page is when a server sent it.

import { element, fill } from "../dom";

/** Shows the inspector in `root`. */
export function startInspector(root: HTMLElement): void {
  fill(root, element("p", "notice", { role: "alert" }, "This page carries no report."));
}
