// The values of all curves at the pinned cursor and at the cursor, and how they differ: real samples
// of the store, as the server read them.

import type { Reading, Value } from "../data/source";
import { element, fill } from "../dom";
import { cursorDate, durationText, exactTimeText, timeText } from "../text/dates";
import { exactValue, shortNumber } from "../text/numbers";
import { shownShort } from "../text/shown";

/** A curve and its samples in force at the cursor and at the pin; null before its first sample. */
export interface CurveReading {
  curve: string;
  name: string;
  /** Of the run, where the name alone does not tell it from another signal. */
  run: string;
  unit: string | null;
  cursor: Reading | null;
  pin: Reading | null;
}

/** What is known at the two times; `pin` is null if only one cursor is there. */
export interface Readings {
  cursor: number | null;
  pin: number | null;
  isDate: boolean;
  /** The time that a pixel of the plots stands for: a date is told no finer. */
  resolution: number;
  rows: CurveReading[];
}

/** The value at the cursor as the legend shows it, and with every digit. */
export function legendText({ cursor }: CurveReading, isDate: boolean): { text: string; hint: string } {
  if (cursor === null) return { text: "–", hint: "before the first sample" };
  const { value, time } = cursor;
  const text = typeof value === "number" ? shortNumber(value, 6) : exactValue(value);
  return { text, hint: `${exactValue(value)}, sample ${cursor.index} at ${exactTimeText(time, isDate)}` };
}

/** The change from one value to another; empty where one is missing. */
export function changeText(from: Value | null, to: Value | null): string {
  if (typeof from !== "number" || typeof to !== "number") return "";
  return shortNumber(to - from, 10);
}

/** The samples that only one of two cursors has passed: how many samples lie between them. */
export function samplesBetween(from: Reading | null, to: Reading | null): number | null {
  return from === null || to === null ? null : Math.abs(to.index - from.index);
}

export class ReadingsTable {
  readonly element = element("section", "pinned", { hidden: true, "aria-label": "Values at two cursors" });

  show(readings: Readings): void {
    const { cursor, pin, isDate, resolution, rows } = readings;
    this.element.hidden = pin === null;
    if (pin === null) return;
    const at = cursor ?? pin;
    const timeOf = (time: number): string => (isDate ? cursorDate(time, resolution) : timeText(time, false));
    const head = element("tr", "", {},
      element("th", "", { scope: "col" }, "signal"),
      element("th", "number", { scope: "col" }, `pinned at ${timeOf(pin)}`),
      element("th", "number", { scope: "col" }, `at ${timeOf(at)}`),
      element("th", "number", { scope: "col" }, `change over ${durationText(at - pin, isDate)}`),
      element("th", "number", { scope: "col" }, "samples"));
    fill(this.element, element("table", "", {}, element("thead", "", {}, head), element("tbody", "", {}, ...rows.map((row) => rowOf(row, isDate)))));
  }
}

function rowOf({ curve, name, run, unit, cursor, pin }: CurveReading, isDate: boolean): HTMLElement {
  const cell = (reading: Reading | null): HTMLElement => element(
    "td", "number",
    reading === null ? {} : { title: `sample ${reading.index} at ${exactTimeText(reading.time, isDate)}` },
    reading === null ? "–" : exactValue(reading.value),
  );
  const between = samplesBetween(pin, cursor);
  return element("tr", "", { "data-curve": curve },
    element("th", "", { scope: "row" },
      element("bdi", "", {}, shownShort(name, 120)),
      run === "" ? null : element("bdi", "muted", {}, ` ${shownShort(run, 60)}`),
      unit ? element("span", "muted", {}, ` [${shownShort(unit, 24)}]`) : null),
    cell(pin),
    cell(cursor),
    element("td", "number change", {}, changeText(pin?.value ?? null, cursor?.value ?? null)),
    element("td", "number", {}, between === null ? "" : String(between)));
}
