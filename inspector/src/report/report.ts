// A report: a page that carries its comparison.

import type { Source } from "../data/source";
import { element, fill } from "../dom";
import { Address } from "../state/address";
import { shownShort } from "../text/shown";
import { ComparisonView } from "./view";

/** Shows the report in `root`, or what went wrong. */
export async function startReport(root: HTMLElement, source: Source): Promise<void> {
  const comparison = await source.comparison();
  if (comparison === null) throw new Error("it carries no comparison");
  const runs = [comparison.baseline, comparison.other].map(({ run }) => shownShort(run, 80));
  document.title = runs.join(" against ");
  const view = new ComparisonView(source, new Address(globalThis.window));
  root.classList.add("report");
  fill(root, view.element);
  await view.show(comparison);
}

/** Says why a page could not be shown. */
export function showFailure(root: HTMLElement, error: unknown): void {
  const text = error instanceof Error ? error.message : String(error);
  fill(root, element("p", "notice", { role: "alert" }, `This report cannot be shown: ${text}`));
}
