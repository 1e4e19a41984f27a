// The facts of a verdict, as a list that can be folded away.

import type { Verdict } from "../data/source";
import { element, fill } from "../dom";
import { exactTimeText } from "../text/dates";
import { counted } from "../text/numbers";
import { shownShort } from "../text/shown";
import { verdictFacts } from "./facts";
import type { Fact } from "./facts";

const LISTED = 12;

export class FactsView {
  readonly element = element("details", "facts", { open: true });
  private readonly list = element("dl", "");

  constructor() {
    this.element.append(element("summary", "", {}, "Facts"), this.list);
  }

  showVerdict(verdict: Verdict, isDate: boolean): void {
    this.show([...verdictFacts(verdict, isDate), ...sides(verdict), ...stretches(verdict, isDate)]);
  }

  show(facts: readonly Fact[]): void {
    this.element.hidden = facts.length === 0;
    fill(
      this.list,
      ...facts.map(([name, text]) =>
        element("div", "fact", {}, element("dt", "", {}, name), element("dd", "", {}, element("bdi", "", {}, shownShort(text, 2000)))),
      ),
    );
  }
}

/** Where both signals came from, as far as it is not the same. */
function sides({ baseline, other }: Verdict): Fact[] {
  const facts: Fact[] = [];
  const told = (name: string, here: string | undefined, there: string | undefined): void => {
    if (here !== undefined && there !== undefined && here !== there) facts.push([name, `${here || "none"}, other: ${there || "none"}`]);
    else if (here || there) facts.push([name, (here || there) ?? ""]);
  };
  if (baseline !== null && other !== null) {
    if (baseline.label !== other.label) told("labels", baseline.label, other.label);
    if (baseline.path !== other.path) told("paths", baseline.path, other.path);
  }
  told("source", baseline?.source, other?.source);
  return facts;
}

function stretches({ intervals, intervals_total }: Verdict, isDate: boolean): Fact[] {
  if (intervals.length === 0) return [];
  const texts = intervals.slice(0, LISTED).map(({ first, last, count }) => {
    const from = exactTimeText(first, isDate);
    return first === last ? from : `${from} to ${exactTimeText(last, isDate)} (${counted(count, "instant")})`;
  });
  const more = intervals_total - texts.length;
  return [["stretches out", texts.join("; ") + (more > 0 ? `; and ${more} more` : "")]];
}
