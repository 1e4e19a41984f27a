// The head of a comparison: which runs, whether it passed, what was asked for, and warnings.

import type { ComparedRun, Comparison } from "../data/source";
import { element } from "../dom";
import { counted } from "../text/numbers";
import { shownShort } from "../text/shown";
import { optionFacts } from "./facts";
import { summarySentence } from "./ranking";

const LONGEST_NAME = 120;
const SHOWN_WARNINGS = 50;

export function summaryOf(comparison: Comparison): HTMLElement {
  const { baseline, other, passed, counts } = comparison;
  const compared = counts.within + counts.out;
  const [outcome, word] = passed ? ["passed", "passed"] : compared === 0 ? ["nothing", "nothing compared"] : ["failed", "failed"];
  return element(
    "header", "summary", {},
    element("h1", "", {},
      element("span", `outcome ${outcome}`, {}, word), " ",
      element("bdi", "", {}, shownShort(baseline.run || "no name", LONGEST_NAME)),
      element("span", "muted", {}, " against "),
      element("bdi", "", {}, shownShort(other.run || "no name", LONGEST_NAME))),
    element("p", "sentence", {}, summarySentence(comparison)),
    element("dl", "options", {},
      ...side("baseline", baseline), ...side("other", other),
      ...optionFacts(comparison).flatMap(([name, text]) => [
        element("div", "fact", {}, element("dt", "", {}, name), element("dd", "", {}, element("bdi", "", {}, shownShort(text, 400)))),
      ])),
    warnings(comparison.warnings),
  );
}

function side(name: string, run: ComparedRun): HTMLElement[] {
  const file = run.file === null ? "" : `${shownShort(run.file, 300)}, `;
  return [
    element("div", "fact", {}, element("dt", "", {}, name),
      element("dd", "", {}, element("bdi", "", {}, file), counted(run.signals, "signal"))),
  ];
}

function warnings(texts: readonly string[]): HTMLElement | null {
  if (texts.length === 0) return null;
  const more = texts.length - SHOWN_WARNINGS;
  return element("details", "warnings", { open: texts.length <= 3 },
    element("summary", "", {}, counted(texts.length, "warning")),
    element("ul", "", {},
      ...texts.slice(0, SHOWN_WARNINGS).map((text) => element("li", "", {}, element("bdi", "", {}, shownShort(text, 1000)))),
      more > 0 ? element("li", "", {}, `and ${more} more`) : null));
}
