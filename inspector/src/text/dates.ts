// Times as people read them. Dates are seconds since 1970-01-01 and shown in UTC.

import { exactNumber, shortNumber } from "./numbers";

// The years 1 to 9999; beyond them a time is shown as a number.
const FIRST = -62135596800;
const LAST = 253402300799;
const MINUTE = 60;
const DAY = 86400;

/** Year, month and day, and of the time of day as much as is not zero, to the microsecond. */
export function dateText(seconds: number): string {
  const [day, time] = dateParts(seconds) ?? [];
  if (day === undefined || time === undefined) return exactNumber(seconds);
  return time === "00:00:00" ? day : `${day} ${time}`;
}

/** The day and the time of day of a time; null where it has no date. */
export function dateParts(seconds: number): [string, string] | null {
  if (!(seconds >= FIRST && seconds <= LAST)) return null;
  let whole = Math.floor(seconds);
  let micro = Math.round((seconds - whole) * 1e6);
  if (micro === 1e6) {
    whole += 1;
    micro = 0;
  }
  const [day = "", rest = ""] = new Date(whole * 1000).toISOString().split("T");
  const fraction = micro === 0 ? "" : `.${String(micro).padStart(6, "0").replace(/0+$/, "")}`;
  return [day, rest.slice(0, 8) + fraction];
}

/** A time in few characters. */
export function timeText(time: number, isDate: boolean): string {
  return isDate ? dateText(time) : shortNumber(time, 6);
}

/** A time with every digit; a date with the number too where the microsecond does not tell it. */
export function exactTimeText(time: number, isDate: boolean): string {
  return isDate ? dateText(time) : exactNumber(time);
}

/** A date under the pointer, where a pixel stands for `resolution` seconds: no more of it than can be told. */
export function cursorDate(seconds: number, resolution: number): string {
  const step = [DAY, MINUTE, 1].find((one) => resolution >= one);
  return dateText(step === undefined ? seconds : Math.floor(seconds / step) * step);
}

/** A stretch of time: with dates in the largest fitting unit, else a number. */
export function durationText(duration: number, isDate: boolean): string {
  if (!isDate) return shortNumber(duration, 6);
  const units: [number, string][] = [[86400, "d"], [3600, "h"], [60, "min"], [1, "s"], [1e-3, "ms"], [1e-6, "µs"]];
  const [size, unit] = units.find(([one]) => Math.abs(duration) >= one) ?? [1, "s"];
  return `${shortNumber(duration / size, 5)} ${unit}`;
}
