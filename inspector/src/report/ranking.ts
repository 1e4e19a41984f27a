// Which verdicts fail, how badly, and in what order people want to see them.

import type { Comparison, Status, Verdict } from "../data/source";
import { shortNumber } from "../text/numbers";

/** Whether a verdict fails: it differs, or it is an extra of a strict comparison. */
export function fails(verdict: Verdict, isStrict: boolean): boolean {
  return verdict.differs || (verdict.status === "extra" && isStrict);
}

/** How far the worst value is beyond its tolerance; Infinity where it is lost or infinite, null without one. */
export function excess({ worst }: Verdict): number | null {
  if (worst === null) return null;
  const beyond = worst.difference - worst.tolerance;
  return Number.isFinite(worst.difference) && !Number.isNaN(beyond) ? beyond : Infinity;
}

/** The same in a word or in few digits. */
export function excessText(verdict: Verdict): string {
  const beyond = excess(verdict);
  if (beyond === null) return "";
  if (beyond !== Infinity) return shortNumber(beyond, 5);
  return isLost(verdict) ? "lost" : "infinite";
}

function isLost({ worst }: Verdict): boolean {
  return worst !== null && [worst.other].flat().some((part) => Number.isNaN(part));
}

/** The places of the verdicts: those that fail first, the furthest out before others. */
export function worstFirst({ verdicts, options }: Comparison): number[] {
  const ranks = verdicts.map((verdict) => rank(verdict, options.strict));
  return [...verdicts.keys()].sort((a, b) => {
    const [groupA, sizeA] = ranks[a]!;
    const [groupB, sizeB] = ranks[b]!;
    return groupA - groupB || (sizeA === sizeB ? a - b : sizeA > sizeB ? -1 : 1);
  });
}

function rank(verdict: Verdict, isStrict: boolean): [number, number] {
  if (!fails(verdict, isStrict)) return [2, 0];
  return verdict.status === "out" ? [0, excess(verdict) ?? -Infinity] : [1, 0];
}

/** One sentence over the whole comparison. */
export function summarySentence({ counts, passed, verdicts, options }: Comparison): string {
  const compared = counts.within + counts.out;
  if (verdicts.length === 0) return "Neither run has signals.";
  const failing = verdicts.filter((verdict) => fails(verdict, options.strict)).length;
  if (compared === 0) return "Nothing was compared: no two signals are a pair that can be judged.";
  if (passed) return compared === 1 ? "The one pair is within its tolerance." : `All ${compared} pairs are within their tolerances.`;
  return failing === 1 ? `1 of ${verdicts.length} fails.` : `${failing} of ${verdicts.length} fail.`;
}

/** A mark for a status, so that it does not depend on colour. */
export const MARKS: Readonly<Record<Status, string>> = {
  out: "✕",
  missing: "−",
  incomparable: "?",
  extra: "+",
  within: "✓",
};
