// The legend of a pair, with the values at the cursor and at the pinned cursor.

import type { PairCurves, Value } from "../data/source";
import { element, fill } from "../dom";
import { durationText, exactTimeText } from "../text/dates";
import { exactValue, shortNumber } from "../text/numbers";
import type { PairColors } from "./content";
import { readPair } from "./readings";
import type { PairReading } from "./readings";

type Name = keyof PairReading;
const NAMES: readonly Name[] = ["baseline", "other", "difference", "tolerance"];

export class ReadingsView {
  readonly element: HTMLElement;
  private readonly head = element("tr", "");
  private readonly body = element("tbody", "");
  private curves: PairCurves | null = null;
  private cursor: number | null = null;
  private pin: number | null = null;

  constructor() {
    this.element = element(
      "div", "readings", {},
      element("table", "", { "aria-label": "Values at the cursor" }, element("thead", "", {}, this.head), this.body),
    );
  }

  setPair(curves: PairCurves, colors: PairColors): void {
    this.curves = curves;
    fill(
      this.head,
      element("td", ""),
      ...NAMES.map((name) => element("th", "", { scope: "col" }, swatch(name, colors), name)),
    );
    this.show(this.cursor, this.pin);
  }

  /** Shows the samples in force at the two times; null: there is no such cursor. */
  show(cursor: number | null, pin: number | null): void {
    this.cursor = cursor;
    this.pin = pin;
    const { curves } = this;
    if (curves === null) return;
    const here = cursor === null ? null : readPair(curves, cursor);
    const there = pin === null ? null : readPair(curves, pin);
    const isDate = curves.is_date;
    const time = (at: number | null): string => (at === null ? "" : exactTimeText(at, isDate));
    fill(
      this.body,
      row("cursor", time(cursor), NAMES.map((name) => reading(here, name, isDate))),
      row("pinned", time(pin), NAMES.map((name) => reading(there, name, isDate))),
      row(
        "change",
        cursor === null || pin === null ? "" : durationText(cursor - pin, isDate),
        NAMES.map((name) => changeText(there?.[name]?.value, here?.[name]?.value)),
      ),
    );
  }
}

function row(name: string, time: string, cells: (Node | string)[][] | string[]): HTMLElement {
  return element(
    "tr", name, {},
    element("th", "", { scope: "row" }, element("span", "muted", {}, `${name} `), time),
    ...cells.map((cell, place) => element("td", NAMES[place], {}, ...[cell].flat())),
  );
}

/** The value, and where its sample is. */
function reading(pair: PairReading | null, name: Name, isDate: boolean): (Node | string)[] {
  const sample = pair?.[name] ?? null;
  if (sample === null) return [];
  return [
    element("span", "value", {}, exactValue(sample.value)),
    element("span", "time", {}, exactTimeText(sample.time, isDate)),
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
