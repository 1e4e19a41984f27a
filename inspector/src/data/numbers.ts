// Reads back the numbers that JSON cannot write: "NaN", "Infinity" and "-Infinity".

import type { Comparison, Sync, Tolerance, Value, Verdict, Worst } from "./source";

/** A number as JSON carries it. */
export function readNumber(value: unknown): number {
  if (typeof value === "number") return value;
  if (value === "Infinity") return Infinity;
  if (value === "-Infinity") return -Infinity;
  return NaN;
}

export function readNumberOrNull(value: unknown): number | null {
  return value === null || value === undefined ? null : readNumber(value);
}

/** A real number, or [real, imaginary]. */
export function readValue(value: unknown): Value {
  return Array.isArray(value) ? [readNumber(value[0]), readNumber(value[1])] : readNumber(value);
}

type Json = Readonly<Record<string, unknown>>;

/** Of records whose other fields are texts: every field that is no name is a number. */
function withNumbers<T>(record: Json, texts: readonly string[]): T {
  const fields = Object.entries(record).map(([name, value]) => [
    name,
    texts.includes(name) ? value : readNumber(value),
  ]);
  return Object.fromEntries(fields) as T;
}

export function readTolerance(record: unknown): Tolerance | null {
  return record ? withNumbers<Tolerance>(record as Json, ["function_name"]) : null;
}

export function readSync(record: unknown): Sync | null {
  return record ? withNumbers<Sync>(record as Json, ["method", "interp", "function_name"]) : null;
}

const NUMBERS_OR_NULL = [
  "first_out", "last_out", "max_difference", "max_difference_time", "max_relative", "max_relative_time", "rms",
] as const;

export function readVerdict(record: unknown): Verdict {
  const json = record as Json;
  const numbers = Object.fromEntries(NUMBERS_OR_NULL.map((name) => [name, readNumberOrNull(json[name])]));
  const verdict = { ...json, ...numbers } as unknown as Verdict;
  return {
    ...verdict,
    tolerance: readTolerance(json["tolerance"]),
    sync: readSync(json["sync"]),
    worst: readWorst(json["worst"]),
    intervals: (json["intervals"] as Json[]).map((interval) => withNumbers(interval, [])),
  };
}

function readWorst(record: unknown): Worst | null {
  if (!record) return null;
  const json = record as Json;
  return {
    time: readNumber(json["time"]),
    baseline: readValue(json["baseline"]),
    other: readValue(json["other"]),
    difference: readNumber(json["difference"]),
    tolerance: readNumber(json["tolerance"]),
    component: readNumber(json["component"]),
  };
}

/** A comparison as `Comparison.to_dict` writes it, with `is_date` and perhaps `revision` beside. */
export function readComparison(record: unknown): Comparison {
  const json = record as Json & { options: Json; verdicts: unknown[] };
  const verdicts = json.verdicts.map(readVerdict);
  return {
    ...(json as unknown as Comparison),
    options: {
      ...(json.options as unknown as Comparison["options"]),
      time_tolerance: readNumber(json.options["time_tolerance"]),
      tolerance: readTolerance(json.options["tolerance"]),
      sync: readSync(json.options["sync"]),
    },
    verdicts,
    is_date: (json["is_date"] as boolean[] | undefined) ?? verdicts.map(() => false),
  };
}
