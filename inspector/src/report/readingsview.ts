// The legend of a pair, with the values at the cursor and at the pinned cursor.

import type { PairCurves, Value } from "../data/source";
import { element, fill } from "../dom";
import { durationText, exactTimeText } from "../text/dates";
import { exactValue, shortNumber } from "../text/numbers";
import type { PairColors } from "./content";
import { readPair } from "./readings";
import type { PairReading, SampleReading } from "./readings";

type Name = keyof PairReading;
const NAMES: readonly Name[] = ["baseline", "other", "difference", "tolerance"];

export class ReadingsView {
  readonly element: HTMLElement;
  private readonly head = element("tr", "");
  private readonly body = element("tbody", "");
  private curves: PairCurves | null = null;
  private colors: PairColors | null = null;
  private cursor: number | null = null;
  private pin: number | null = null;

  constructor() {
    this.element = element("div", "readings", {},
      element("table", "", { "aria-label": "Values at the cursor" }, element("thead", "", {}, this.head), this.body));
  }

  setPair(curves: PairCurves, colors: PairColors): void {
    this.curves = curves;
    this.colors = colors;
    this.show(this.cursor, this.pin);
  }

  show(cursor: number | null, pin: number | null): void {
    this.cursor = cursor;
    this.pin = pin;
    const { curves, colors } = this;
    if (curves === null || colors === null) return;
    const at = cursor ?? pin;
    const here = at === null ? null : readPair(curves, at);
    const there = pin === null || cursor === null || pin === cursor ? null : readPair(curves, pin);
    const isDate = curves.is_date;
    fill(
      this.head,
      element("th", "", { scope: "col" }, at === null ? "point at the plot" : exactTimeText(at, isDate)),
      element("th", "number", { scope: "col" }, "value"),
      element("th", "", { scope: "col" }, "of the sample at"),
      element("th", "number", { scope: "col" }, there === null || pin === null ? "" : `pinned at ${exactTimeText(pin, isDate)}`),
      element("th", "number", { scope: "col" }, there === null || pin === null || at === null ? "" : `change over ${durationText(at - pin, isDate)}`),
    );
    fill(this.body, ...NAMES.map((name) => this.row(name, here?.[name] ?? null, there?.[name] ?? null)));
  }

  private row(name: Name, here: SampleReading | null, there: SampleReading | null): HTMLElement {
    const isDate = this.curves?.is_date ?? false;
    return element("tr", "", { "data-reading": name },
      element("th", "", { scope: "row" }, this.swatch(name), name),
      element("td", "number value", {}, here === null ? "" : exactValue(here.value)),
      element("td", "time", {}, here === null ? "" : exactTimeText(here.time, isDate)),
      element("td", "number", {}, there === null ? "" : exactValue(there.value)),
      element("td", "number", {}, here === null || there === null ? "" : changeText(there.value, here.value)));
  }

  /** A short piece of the curve. */
  private swatch(name: Name): HTMLElement {
    const swatch = element("span", "swatch");
    const { colors } = this;
    if (colors === null) return swatch;
    const looks = { baseline: colors.looks[0], other: colors.looks[1], difference: { color: colors.difference, dash: "-" } };
    if (name === "tolerance") {
      swatch.style.background = colors.band;
      return swatch;
    }
    const { color, dash } = looks[name];
    swatch.classList.add("line");
    swatch.style.borderTopColor = color;
    swatch.style.borderTopStyle = dash === "-" ? "solid" : dash === ":" ? "dotted" : "dashed";
    return swatch;
  }
}

function changeText(from: Value, to: Value): string {
  return typeof from === "number" && typeof to === "number" ? shortNumber(to - from, 8) : "";
}
