// The legend of a pair, with the values at the cursor and at the pinned cursor.

import type { PairCurves, Value } from "../data/source";
import { element, fill } from "../dom";
import { cursorDate, durationText, exactTimeText } from "../text/dates";
import { exactValue, shortNumber } from "../text/numbers";
import type { PairColors } from "./content";
import { readPair, roundedTime } from "./readings";
import type { PairReading } from "./readings";

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
  private resolution = 0;

  constructor() {
    this.element = element(
      "div", "readings", {},
      element("table", "", { "aria-label": "Values at the cursor" }, element("thead", "", {}, this.head), this.body),
    );
  }

  setPair(curves: PairCurves, colors: PairColors): void {
    this.curves = curves;
    this.colors = colors;
    this.show(this.cursor, this.pin, this.resolution);
  }

  /**
   * Shows the samples in force at the two times; null: there is no such cursor. `resolution` is the time
   * that a pixel stands for.
   */
  show(cursor: number | null, pin: number | null, resolution: number): void {
    this.cursor = cursor;
    this.pin = pin;
    this.resolution = resolution;
    const { curves, colors } = this;
    if (curves === null || colors === null) return;
    const here = cursor === null ? null : readPair(curves, cursor);
    const there = pin === null ? null : readPair(curves, pin);
    const isDate = curves.is_date;
    const at = (time: number | null): string =>
      time === null ? "" : ` at ${isDate ? cursorDate(time, resolution) : exactTimeText(roundedTime(time, resolution), false)}`;
    const change = cursor === null || pin === null ? "" : ` in ${durationText(cursor - pin, isDate)}`;
    fill(
      this.head,
      element("td", ""),
      element("th", "", { scope: "col", colspan: 2 }, `cursor${at(cursor)}`),
      element("th", "", { scope: "col", colspan: 2 }, `pinned${at(pin)}`),
      element("th", "", { scope: "col" }, `change${change}`),
    );
    fill(
      this.body,
      ...NAMES.map((name) =>
        element(
          "tr", "", { "data-reading": name },
          element("th", "", { scope: "row" }, swatch(name, colors), name),
          ...reading("at-cursor", here?.[name] ?? null, isDate),
          ...reading("at-pin", there?.[name] ?? null, isDate),
          element("td", "", {}, changeText(there?.[name]?.value, here?.[name]?.value)),
        ),
      ),
    );
  }
}

/** The value, and where its sample is. */
function reading(where: string, sample: PairReading[Name], isDate: boolean): HTMLElement[] {
  return [
    element("td", `${where} value`, {}, sample === null ? "" : exactValue(sample.value)),
    element("td", `${where} time`, {}, sample === null ? "" : exactTimeText(sample.time, isDate)),
  ];
}

/** A short piece of the curve. */
function swatch(name: Name, colors: PairColors): HTMLElement {
  const made = element("span", "swatch");
  if (name === "tolerance") {
    made.style.background = colors.band;
    return made;
  }
  const looks = { baseline: colors.looks[0], other: colors.looks[1], difference: { color: colors.difference, dash: "-" } };
  const { color, dash } = looks[name];
  made.classList.add("line");
  made.style.borderTopColor = color;
  made.style.borderTopStyle = dash === "-" ? "solid" : dash === ":" ? "dotted" : "dashed";
  return made;
}

function changeText(from: Value | undefined, to: Value | undefined): string {
  return typeof from === "number" && typeof to === "number" ? shortNumber(to - from, 8) : "";
}
