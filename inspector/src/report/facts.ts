// What a verdict and the options of a comparison say, as pairs of names and texts.

import type { Comparison, Sync, Tolerance, Verdict, Whose } from "../data/source";
import { counted, exactNumber, exactValue, shortNumber } from "../text/numbers";
import { exactTimeText } from "../text/dates";

export type Fact = readonly [name: string, text: string];

const WHOSE: Readonly<Record<Whose, string>> = {
  own: "its own",
  run: "from the run",
  override: "as given",
};

/** How much is allowed, in one line. */
export function toleranceText(tolerance: Partial<Tolerance>, isDate = false): string {
  const { type = 0, absolute = 0, relative = 0 } = tolerance;
  if (type === 2) return `function ${tolerance.function_name ?? ""}`;
  if (type === 0) {
    if (absolute === 0 && relative === 0) return "none: exactly equal";
    const parts = [absolute !== 0 && `absolute ${exactNumber(absolute)}`, relative !== 0 && `relative ${exactNumber(relative)}`];
    return parts.filter(Boolean).join(" or ") + (absolute !== 0 && relative !== 0 ? ", whichever is more" : "");
  }
  const steps = (start = 0, by = 0): string => exactNumber(start) + (by === 0 ? "" : ` ${by < 0 ? "−" : "+"} ${exactNumber(Math.abs(by))} a step`);
  const { start = 0, end = 0, step = 0 } = tolerance;
  return (
    `from ${exactTimeText(start, isDate)} to ${exactTimeText(end, isDate)}` +
    `: absolute ${steps(tolerance.initial_absolute, tolerance.absolute_step)}` +
    `, relative ${steps(tolerance.initial_relative, tolerance.relative_step)}` +
    (step > 0 ? `, steps of ${exactNumber(step)}` : "")
  );
}

/** Where the two are compared, and what stands between samples. */
export function syncText({ method = "union", interp = "zoh", interval = 0, function_name = "", type = 0 }: Partial<Sync>): string {
  const between = interp === "zoh" ? "values hold" : "linear between samples";
  if (type === 1) return `instants of the function ${function_name}, ${between}`;
  const instants = { union: "times of either", intersection: "times of both", uniform: `every ${exactNumber(interval)}` };
  return `${instants[method] ?? method}, ${between}`;
}

/** The settings of a comparison that are not as everybody expects. */
export function optionFacts({ options }: Comparison): Fact[] {
  const facts: (Fact | false)[] = [
    ["paired by", [options.match].flat().join(", ")],
    options.tolerance !== null && ["tolerance", toleranceText(options.tolerance)],
    options.sync !== null && ["instants", syncText(options.sync)],
    options.coverage !== "baseline" && ["coverage", "common span only"],
    options.time_tolerance > 0 && ["time tolerance", exactNumber(options.time_tolerance)],
    options.only.length > 0 && ["only", options.only.join(", ")],
    options.ignore.length > 0 && ["ignored", options.ignore.join(", ")],
    options.strict && ["strict", "extras fail"],
  ];
  return facts.filter((fact): fact is Fact => fact !== false);
}

/** All of a verdict but its status and its sentence; what is 0 and says nothing is left out. */
export function verdictFacts(verdict: Verdict, isDate: boolean): Fact[] {
  const time = (at: number | null): string => (at === null ? "" : ` at ${exactTimeText(at, isDate)}`);
  const values = (number: number, what: string): string | false => number > 0 && `${counted(number, "value")}${what}`;
  const samples = (number: number, what: string): string | false => number > 0 && `${counted(number, "sample")}${what}`;
  const facts: [string, string | false][] = [
    ["tolerance", settingText(verdict.tolerance && toleranceText(verdict.tolerance, isDate), verdict.tolerance_source)],
    ["instants", settingText(verdict.sync && syncText(verdict.sync), verdict.sync_source)],
    ["compared", verdict.instants > 0 && counted(verdict.instants, "instant") + (verdict.judged === verdict.instants ? "" : `, ${counted(verdict.judged, "value")} judged`)],
    ["out", values(verdict.out, ` at ${counted(verdict.instants_out, "instant")}, in ${counted(verdict.intervals_total, "stretch", "stretches")}`)],
    ["out from", verdict.first_out !== null && `${exactTimeText(verdict.first_out, isDate)} to ${exactTimeText(verdict.last_out ?? verdict.first_out, isDate)}`],
    ["worst", worstText(verdict, isDate)],
    ["largest difference", verdict.max_difference !== null && verdict.max_difference > 0 && exactNumber(verdict.max_difference) + time(verdict.max_difference_time)],
    ["largest relative", verdict.max_relative !== null && verdict.max_relative > 0 && shortNumber(verdict.max_relative, 6) + time(verdict.max_relative_time)],
    ["rms of differences", verdict.rms !== null && verdict.rms > 0 && shortNumber(verdict.rms, 6)],
    ["lost", values(verdict.lost, ": a number in the baseline, none in the other")],
    ["gained", values(verdict.gained, ": a number in the other, none in the baseline")],
    ["gaps", values(verdict.gaps, ": no number in either")],
    ["outside the window", values(verdict.outside, ", not judged")],
    ["uncovered", samples(verdict.uncovered, " of the baseline outside the common span")],
    ["beyond", samples(verdict.beyond, " of the other outside the common span")],
  ];
  return facts.filter((fact): fact is [string, string] => fact[1] !== false && fact[1] !== "");
}

function settingText(text: string | null, whose: Whose | null): string {
  return text === null ? "" : `${text} (${whose === null ? "" : WHOSE[whose]})`;
}

function worstText({ worst }: Verdict, isDate: boolean): string | false {
  if (worst === null) return false;
  const component = worst.component > 0 ? `, component ${worst.component}` : "";
  return (
    `${exactValue(worst.other)} instead of ${exactValue(worst.baseline)} at ${exactTimeText(worst.time, isDate)}${component}: ` +
    `off by ${shortNumber(worst.difference, 6)}, allowed ${shortNumber(worst.tolerance, 6)}`
  );
}
