// The chosen pair: what the verdict says, both signals with the tolerance around the baseline, the
// difference below, and the values at the cursor. The inspector's comparison uses it too.

import type { Comparison, PairCurves, Source, Verdict, Window } from "../data/source";
import { button, element, fill } from "../dom";
import { WindowFetcher } from "../plot/fetching";
import { Plots } from "../plot/plots";
import { extentOf } from "../plot/samples";
import { around, union } from "../plot/window";
import { frames } from "../state/frames";
import { exactTimeText } from "../text/dates";
import { countText } from "../text/numbers";
import { shownShort } from "../text/shown";
import { pairContent } from "./content";
import { FactsView } from "./factsview";
import { neighbouringInterval, worstStretch } from "./jumps";
import { MARKS } from "./ranking";
import { ReadingsView } from "./readingsview";
import { pairColors } from "./theme";

export interface PairViewOptions {
  /** Told of the window that is shown, null for all of the time. */
  onWindow?: (window: Window | null) => void;
  /** Told of the component that was chosen. */
  onComponent?: (component: number | null) => void;
}

const LONGEST_NAME = 300;
const JUMP_ROOM = 2;

export class PairView {
  readonly element: HTMLElement;
  readonly plots: Plots;
  private readonly heading = element("div", "pair-heading");
  private readonly tools = element("div", "pair-tools", { role: "toolbar", "aria-label": "Jumps" });
  private readonly notice = element("p", "notice", { role: "status", hidden: true });
  private readonly readings = new ReadingsView();
  private readonly facts = new FactsView();
  private shown: { index: number; verdict: Verdict; isDate: boolean } | null = null;
  private curves: PairCurves | null = null;
  private component: number | null = null;
  private comparison: Comparison | null = null;
  private fetcher: WindowFetcher | null = null;
  /** Where the stretch begins that was jumped to, until the window is moved by other means. */
  private jumped: number | null = null;
  /** Counts what was asked for, so that a late answer for another pair is dropped. */
  private asked = 0;

  constructor(
    private readonly source: Source,
    private readonly options: PairViewOptions = {},
  ) {
    this.plots = new Plots({
      onWindow: (window) => {
        this.jumped = null;
        this.fetchMore();
        this.options.onWindow?.(window);
      },
      onCursor: (cursor, pin) => this.read(cursor, pin),
    });
    this.element = element(
      "section", "pair", { "aria-label": "Chosen pair" },
      this.heading, this.tools, this.notice, this.plots.element, this.readings.element, this.facts.element,
    );
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.drawCurves());
  }

  /** The comparison that pairs are shown of from now on. */
  setComparison(comparison: Comparison): void {
    this.comparison = comparison;
  }

  /**
   * Shows a verdict of the comparison in a window of time, and fetches its curves; null shows none. A
   * component of null is that of the worst value.
   */
  async show(index: number | null, component: number | null, window: Window | null): Promise<void> {
    const verdict = index === null ? undefined : this.comparison?.verdicts[index];
    if (index === null || verdict === undefined) return this.clear();
    const isDate = this.comparison?.is_date[index] ?? false;
    this.shown = { index, verdict, isDate };
    this.component = component;
    this.jumped = null;
    this.describe(verdict, isDate);
    this.plots.setCursor(null, verdict.worst?.time ?? null);
    await this.load(window);
  }

  private clear(): void {
    this.shown = null;
    this.asked += 1;
    fill(this.heading, element("p", "muted", {}, "Choose a pair in the table."));
    fill(this.tools);
    this.facts.show([]);
    this.setCurves(null);
  }

  private describe(verdict: Verdict, isDate: boolean): void {
    const who = verdict.baseline ?? verdict.other;
    const label = who?.label ?? "";
    fill(
      this.heading,
      element("h2", "", {},
        element("span", `status ${verdict.status}`, {}, `${MARKS[verdict.status]} ${verdict.status}`),
        " ",
        element("bdi", "", {}, label === "" ? "no label" : shownShort(label, LONGEST_NAME)),
        who?.path ? element("bdi", "path", {}, shownShort(who.path, LONGEST_NAME)) : null),
      element("p", "sentence", {}, shownShort(verdict.text, 2000)),
    );
    this.showTools(verdict, isDate);
    this.facts.showVerdict(verdict, isDate);
  }

  private showTools(verdict: Verdict, isDate: boolean): void {
    const total = verdict.intervals_total;
    const kept = verdict.intervals.length;
    const more = total > kept ? `, the first ${kept} of ${countText(total)}` : "";
    const worst = verdict.worst === null ? "" : ` at ${exactTimeText(verdict.worst.time, isDate)}`;
    fill(
      this.tools,
      ...(kept > 0 ? [
        button("‹ out", "tool", `The stretch out before (p)${more}`, () => this.jump(false)),
        button("out ›", "tool", `The next stretch out (n)${more}`, () => this.jump(true)),
      ] : []),
      verdict.worst === null ? null : button("worst", "tool", `The worst value${worst} (w)`, () => this.jumpToWorst()),
      button("all", "tool", "All of the time (0)", () => this.plots.setWindow(null)),
      this.componentChoice(),
    );
  }

  private componentChoice(): HTMLElement | null {
    const { curves } = this;
    if (curves === null || curves.components_total < 2) return null;
    const choice = element("select", "tool", { "aria-label": "Component" },
      ...curves.components.map((one) => element("option", "", { value: one, selected: one === curves.component }, `component ${one}`)));
    choice.addEventListener("change", () => {
      this.component = Number(choice.value);
      this.options.onComponent?.(this.component);
      void this.load(this.plots.window);
    });
    const left = curves.components_total - curves.components.length;
    return element("span", "", {}, choice, left > 0 ? element("span", "muted", {}, ` ${left} more are not kept here`) : null);
  }

  // ---- Curves ----

  private async load(window: Window | null): Promise<void> {
    if (this.shown === null) return;
    const { index, verdict, isDate } = this.shown;
    const asked = ++this.asked;
    this.fetcher = null;
    const columns = this.plots.columns;
    try {
      const request = { component: this.component, window: null, columns };
      const curves = await this.source.pair(index, request);
      if (asked !== this.asked) return;
      this.setCurves(curves);
      this.showTools(verdict, isDate);
      if (curves === null) return;
      this.fetcher = this.fetcherFor(index, asked, columns, isThinned(curves));
      this.plots.setWindow(window);
      this.fetchMore();
    } catch (error) {
      if (asked === this.asked) this.tell(error instanceof Error ? error.message : String(error));
    }
  }

  /** A report has no more than it showed at first, and answers with the same. */
  private fetcherFor(index: number, asked: number, columns: number, thinned: boolean): WindowFetcher {
    const fetcher = new WindowFetcher(
      this.plots.extentShown,
      async (window, more) => {
        const curves = await this.source.pair(index, { component: this.component, window, columns: more });
        if (asked !== this.asked || curves === null) return false;
        this.curves = curves;
        this.drawCurves();
        return isThinned(curves);
      },
      (error) => this.tell(error instanceof Error ? error.message : String(error)),
    );
    fetcher.hold(columns, thinned);
    return fetcher;
  }

  private fetchMore(): void {
    this.fetcher?.show(this.plots.times, this.plots.columns);
  }

  private setCurves(curves: PairCurves | null): void {
    this.curves = curves;
    const { verdict } = this.shown ?? {};
    this.readings.element.hidden = curves === null;
    this.plots.element.hidden = curves === null;
    this.tell(curves !== null || verdict === undefined ? null : "There are no curves of this pair here.");
    this.drawCurves();
  }

  private tell(text: string | null): void {
    this.notice.hidden = text === null;
    fill(this.notice, text);
  }

  private drawCurves(): void {
    const { curves, shown } = this;
    if (curves === null || shown === null) {
      this.plots.setContent([], false);
      return;
    }
    const colors = pairColors(this.element, curves);
    const sides = [curves.baseline, curves.other].filter((curve) => curve !== null);
    const known = extentOf(sides);
    const whole = this.fetcher === null ? known : union(known, this.plots.extentShown);
    this.plots.setContent(pairContent(curves, shown.verdict, colors), curves.is_date, whole);
    this.readings.setPair(curves, colors);
  }

  private read(cursor: number | null, pin: number | null): void {
    const { first, last } = this.plots.times;
    const resolution = (last - first) / this.plots.columns;
    frames.schedule(this.readings, () => this.readings.show(cursor, pin, resolution));
  }

  // ---- Jumps ----

  /** Shows the next or previous stretch that is out, seen from the last one or the middle of the window. */
  jump(isNext: boolean): void {
    const { first, last } = this.plots.times;
    const start = this.plots.window === null ? (isNext ? -Infinity : Infinity) : (first + last) / 2;
    const from = this.jumped ?? start;
    const interval = neighbouringInterval(this.shown?.verdict.intervals ?? [], from, isNext);
    if (interval === null) return;
    this.showStretch(interval, interval.first);
    this.jumped = interval.first;
  }

  jumpToWorst(): void {
    const verdict = this.shown?.verdict;
    const stretch = verdict === undefined ? null : worstStretch(verdict);
    if (stretch === null || !verdict?.worst) return;
    this.showStretch(stretch, verdict.worst.time);
    this.jumped = stretch.first;
  }

  private showStretch(stretch: Window, time: number): void {
    this.plots.setWindow(around(stretch, this.plots.extentShown, JUMP_ROOM));
    this.plots.setCursor(null, time);
  }
}

function isThinned(curves: PairCurves): boolean {
  return [curves.baseline, curves.other, curves.difference].some((curve) => curve?.thinned === true);
}
