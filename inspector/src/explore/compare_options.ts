// The options of a comparison. Settings that are not overridden are those of the baseline's signals.

import type { ComparisonOptions, Sync, Tolerance } from "../data/source";
import { element } from "../dom";
import { exactNumber } from "../text/numbers";
import { NUMBER } from "./fields";

type Words = readonly (readonly [string, string])[];

const MATCHES: Words = [["path", "path"], ["name", "name"], ["source", "source"], ["sid", "sid"]];
const COVERAGES: Words = [["baseline", "all of the baseline"], ["common", "the common time"]];
const TOLERANCES: Words = [["", "of each signal"], ["all", "for all"]];
const SYNCS: Words = [["", "of each signal"], ["union", "times of either"], ["intersection", "times of both"], ["uniform", "uniform steps"]];
const INTERPS: Words = [["zoh", "hold"], ["linear", "line"]];

export class CompareOptions {
  readonly elements: HTMLElement[];
  private readonly match = select(MATCHES);
  private readonly coverage = select(COVERAGES);
  private readonly timeTolerance = input("0", "narrow");
  private readonly tolerance = select(TOLERANCES);
  private readonly absolute = input("0", "narrow");
  private readonly relative = input("0", "narrow");
  private readonly sync = select(SYNCS);
  private readonly interp = select(INTERPS);
  private readonly interval = input("0.01", "narrow");
  private readonly only = input("");
  private readonly ignore = input("");
  private readonly strict = element("input", "", { type: "checkbox" });
  private readonly dependent: [HTMLElement, () => boolean][];

  constructor() {
    const parts = {
      absolute: option("absolute", this.absolute), relative: option("relative", this.relative),
      interp: option("between samples", this.interp), interval: option("step", this.interval),
    };
    const more = element(
      "details", "compare-more", {}, element("summary", "", {}, "Options"),
      element("div", "compare-options", {},
        option("pairs by", this.match), option("must be covered", this.coverage),
        option("time tolerance", this.timeTolerance, "Values may come early or late by this much"),
        option("tolerance", this.tolerance), parts.absolute, parts.relative,
        option("compared at", this.sync), parts.interp, parts.interval,
        option("only", this.only, "Shell patterns of path/label, with commas between them"),
        option("not", this.ignore, "Shell patterns of path/label, with commas between them"),
        option("extra signals fail", this.strict)),
    );
    this.dependent = [
      [parts.absolute, () => this.tolerance.value !== ""], [parts.relative, () => this.tolerance.value !== ""],
      [parts.interp, () => this.sync.value !== ""], [parts.interval, () => this.sync.value === "uniform"],
    ];
    more.addEventListener("change", () => this.hideUnused());
    this.hideUnused();
    this.elements = [more];
  }

  private hideUnused(): void {
    for (const [part, isUsed] of this.dependent) part.hidden = !isUsed();
  }

  /** Throws an Error that names the field that is no number. */
  read(): Partial<ComparisonOptions> {
    return {
      match: this.match.value,
      coverage: this.coverage.value as ComparisonOptions["coverage"],
      time_tolerance: number(this.timeTolerance, "time tolerance"),
      tolerance: this.tolerance.value === "" ? null : this.readTolerance(),
      sync: this.sync.value === "" ? null : this.readSync(),
      only: patterns(this.only.value),
      ignore: patterns(this.ignore.value),
      strict: this.strict.checked,
    };
  }

  private readTolerance(): Partial<Tolerance> {
    return { type: 0, absolute: number(this.absolute, "absolute"), relative: number(this.relative, "relative") };
  }

  private readSync(): Partial<Sync> {
    const method = this.sync.value as Sync["method"];
    const interval = method === "uniform" ? { interval: number(this.interval, "step") } : {};
    return { method, interp: this.interp.value as Sync["interp"], ...interval };
  }

  /** Shows the options of a comparison. */
  show(options: ComparisonOptions): void {
    const { match, coverage, time_tolerance, tolerance, sync, only, ignore, strict } = options;
    if (typeof match === "string") this.match.value = match;
    this.coverage.value = coverage;
    this.timeTolerance.value = exactNumber(time_tolerance);
    this.tolerance.value = tolerance === null ? "" : "all";
    this.absolute.value = exactNumber(tolerance?.absolute ?? 0);
    this.relative.value = exactNumber(tolerance?.relative ?? 0);
    this.sync.value = sync?.method ?? "";
    this.interp.value = sync?.interp ?? "zoh";
    this.interval.value = exactNumber(sync?.interval ?? 0.01);
    this.only.value = only.join(", ");
    this.ignore.value = ignore.join(", ");
    this.strict.checked = strict;
    this.hideUnused();
  }
}

/** The patterns of a list with commas between them. */
export function patterns(text: string): string[] {
  return text.split(",").map((part) => part.trim()).filter((part) => part !== "");
}

function number(field: HTMLInputElement, name: string): number {
  try {
    return NUMBER.read(field.value);
  } catch (error) {
    throw new Error(`${name}: ${error instanceof Error ? error.message : String(error)}`);
  }
}

function select(words: Words): HTMLSelectElement {
  return element("select", "tool", {}, ...words.map(([value, text]) => element("option", "", { value }, text)));
}

function input(value: string, className = ""): HTMLInputElement {
  return element("input", `entry ${className}`, { type: "text", value, autocomplete: "off", spellcheck: "false" });
}

function option(text: string, control: HTMLElement, hint: string | null = null): HTMLElement {
  return element("label", "labelled", { title: hint }, element("span", "", {}, text), control);
}
