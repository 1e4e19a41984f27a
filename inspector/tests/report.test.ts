import assert from "node:assert/strict";
import { test } from "node:test";
import { readComparison } from "../src/data/numbers";
import type { Comparison, PairCurves, Status, Tolerance, Verdict } from "../src/data/source";
import { pairLooks, readColor, visibleColor } from "../src/report/colors";
import { pairContent } from "../src/report/content";
import { syncText, toleranceText, verdictFacts } from "../src/report/facts";
import { neighbouringInterval, worstStretch } from "../src/report/jumps";
import { partText } from "../src/report/pairs";
import { excessText, fails, summarySentence, worstFirst } from "../src/report/ranking";
import { readPair, roundedTime } from "../src/report/readings";

const TOLERANCE: Tolerance = {
  type: 0, absolute: 0, relative: 0, start: 0, end: 0, step: 0, initial_absolute: 0, absolute_step: 0,
  initial_relative: 0, relative_step: 0, function_name: "",
};

function verdict(status: Status, fields: Partial<Verdict> = {}): Verdict {
  return {
    status, reason: null, text: "", differs: status !== "within" && status !== "extra", baseline: null, other: null,
    tolerance: TOLERANCE, tolerance_source: "own", sync: null, sync_source: null, instants: 10, instants_out: 0,
    judged: 10, out: 0, lost: 0, gained: 0, gaps: 0, outside: 0, uncovered: 0, beyond: 0, first_out: null,
    last_out: null, worst: null, max_difference: null, max_difference_time: null, max_relative: null,
    max_relative_time: null, rms: null, intervals: [], intervals_total: 0, ...fields,
  };
}

function out(difference: number, tolerance: number, time = 1): Verdict {
  return verdict("out", { out: 1, worst: { time, baseline: 1, other: 1 + difference, difference, tolerance, component: 0 } });
}

function comparison(verdicts: Verdict[], strict = false): Comparison {
  const counts = { within: 0, out: 0, missing: 0, extra: 0, incomparable: 0 };
  for (const one of verdicts) counts[one.status] += 1;
  const side = { file: null, run: "a", id: 1, signals: 1 };
  return {
    version: 1, counts, baseline: side, other: side, warnings: [], verdicts, is_date: verdicts.map(() => false),
    passed: counts.within + counts.out > 0 && !verdicts.some((one) => fails(one, strict)),
    options: { match: "path", coverage: "baseline", time_tolerance: 0, tolerance: null, sync: null, only: [], ignore: [], strict },
  };
}

test("what fails comes first: lost and infinite, then the furthest out, then those without a partner", () => {
  const verdicts = [verdict("within"), verdict("missing"), out(2, 1), verdict("extra"), out(9, 1), out(Infinity, 1), verdict("incomparable")];
  assert.deepEqual(worstFirst(comparison(verdicts)), [5, 4, 2, 1, 6, 0, 3]);
  assert.deepEqual(worstFirst(comparison(verdicts, true)), [5, 4, 2, 1, 3, 6, 0]);
});

test("the excess is a number, or says why it is none", () => {
  assert.equal(excessText(out(1.5, 1)), "0.5");
  assert.equal(excessText(out(Infinity, 1)), "infinite");
  const lost = out(NaN, 1);
  assert.equal(excessText({ ...lost, worst: { ...lost.worst!, other: NaN } }), "lost");
  assert.equal(excessText(verdict("within")), "");
});

test("the summary says what happened, also where nothing was compared", () => {
  assert.equal(summarySentence(comparison([verdict("within"), verdict("within")])), "All 2 pairs are within their tolerances.");
  assert.equal(summarySentence(comparison([verdict("within"), out(2, 1)])), "1 of 2 fails.");
  assert.equal(summarySentence(comparison([verdict("missing")])), "Nothing was compared: no two signals are a pair that can be judged.");
  assert.equal(summarySentence(comparison([])), "Neither run has signals.");
});

test("the part that is out is never rounded to none or all", () => {
  assert.deepEqual(
    [[0, 10], [1, 100000], [1, 8], [99999, 100000], [10, 10]].map(([some, all]) => partText({ out: some!, judged: all! })),
    ["", "<0.1 %", "12 %", ">99.9 %", "100 %"],
  );
});

test("tolerances and instants are told in words", () => {
  assert.equal(toleranceText(TOLERANCE), "none: exactly equal");
  assert.equal(toleranceText({ ...TOLERANCE, absolute: 0.5, relative: 0.01 }), "absolute 0.5 or relative 0.01, whichever is more");
  assert.equal(toleranceText({ ...TOLERANCE, type: 2, function_name: "mine" }), "function mine");
  assert.equal(
    toleranceText({ ...TOLERANCE, type: 1, start: 1, end: 3, step: 0.5, initial_absolute: 2, absolute_step: -0.25 }),
    "from 1 to 3: absolute 2 − 0.25 a step, relative 0, steps of 0.5",
  );
  assert.equal(syncText({ method: "uniform", interp: "linear", interval: 0.1, type: 0 }), "every 0.1, linear between samples");
});

test("facts that say nothing are left out", () => {
  const names = verdictFacts(verdict("within"), false).map(([name]) => name);
  assert.deepEqual(names, ["tolerance", "compared"]);
  const gained = verdictFacts(verdict("within", { gained: 1 }), false).find(([name]) => name === "gained");
  assert.equal(gained?.[1], "1 value: a number in the other, none in the baseline");
});

test("jumps go to the stretch after or before a time, and to that of the worst value", () => {
  const intervals = [{ first: 1, last: 2, count: 3 }, { first: 5, last: 5, count: 1 }, { first: 8, last: 9, count: 2 }];
  assert.equal(neighbouringInterval(intervals, 1, true)?.first, 5);
  assert.equal(neighbouringInterval(intervals, 5, false)?.first, 1);
  assert.equal(neighbouringInterval(intervals, 8, true), null);
  assert.equal(neighbouringInterval(intervals, -Infinity, false), null);
  assert.deepEqual(worstStretch({ ...out(2, 1, 8.5), intervals }), intervals[2]);
  assert.deepEqual(worstStretch({ ...out(2, 1, 30), intervals }), { first: 30, last: 30 });
  assert.equal(worstStretch(verdict("within")), null);
});

const at = (times: number[], values: number[]) => ({ times: Float64Array.from(times), values: Float64Array.from(values), thinned: false });
const CURVES: PairCurves = {
  component: 0, components: [0], components_total: 1, baseline: at([0, 1, 1, 2], [10, 11, 12, 13]), other: at([1.5], [7]),
  baseline_imaginary: null, other_imaginary: at([1.5], [-1]), difference: at([1.5], [5]), tolerance: at([1.5], [1]), low: at([1.5], [11]),
  high: at([1.5], [13]), baseline_look: null, other_look: null, is_date: false, unit: null,
};

test("the cursor reads the sample in force, of an event the last one", () => {
  assert.equal(readPair(CURVES, 1).baseline?.value, 12);
  assert.deepEqual(readPair(CURVES, 1.9).baseline, { time: 1, value: 12 });
  assert.equal(readPair(CURVES, -1).baseline, null);
  assert.equal(readPair(CURVES, 1).other, null);
  assert.deepEqual(readPair(CURVES, 3).other?.value, [7, -1]);
});

test("a pair has two plots, one without compared instants, and none without curves", () => {
  const looks = [{ color: "#000000", dash: "-" as const }, { color: "#ff0000", dash: "--" as const }] as const;
  const colors = { looks, band: "", out: "", difference: "", tolerance: "" };
  assert.deepEqual(pairContent(CURVES, verdict("out"), colors).map(({ key, curves }) => [key, curves.length]), [["signals", 3], ["difference", 1]]);
  assert.equal(pairContent({ ...CURVES, difference: null }, verdict("missing"), colors).length, 1);
  assert.equal(pairContent({ ...CURVES, baseline: null, other: null, other_imaginary: null }, verdict("out"), colors).length, 0);
});

test("colours of the store are kept where they can be seen", () => {
  assert.equal(visibleColor("#0b5fd0", "#ffffff"), "#0b5fd0");
  assert.notEqual(visibleColor("#000000", "#14171b"), "#000000");
  assert.notEqual(visibleColor("#ffffff", "#ffffff"), "#ffffff");
  assert.equal(visibleColor("red", "#ffffff"), "red");
  assert.deepEqual(readColor("#0A141e"), [10, 20, 30]);
});

test("two sides never look the same", () => {
  const blue = { color: "#0000ff", dash: "-" as const };
  const red = { color: "#ff0000", dash: "-" as const };
  assert.deepEqual(pairLooks(blue, red, [red, blue]), [blue, red]);
  assert.deepEqual(pairLooks(null, null, [blue, red]), [blue, red]);
  assert.deepEqual(pairLooks(blue, { ...blue, color: "#0000FF" }, [blue, red]), [blue, { color: "#ff0000", dash: "--" }]);
  assert.deepEqual(pairLooks(red, null, [blue, red]), [red, { color: "#0000ff", dash: "--" }]);
});

test("numbers that JSON cannot write are read back, and names stay names", () => {
  const json = {
    ...comparison([]), verdicts: [{ ...verdict("out"), first_out: "-Infinity", rms: "NaN", text: "NaN", tolerance: { ...TOLERANCE, absolute: "Infinity", function_name: "NaN" },
      worst: { time: 1, baseline: ["NaN", 1], other: "Infinity", difference: "NaN", tolerance: 0, component: 2 } }],
    is_date: undefined,
  };
  const [read] = readComparison(json).verdicts;
  assert.deepEqual([read?.first_out, read?.text, read?.tolerance?.absolute, read?.tolerance?.function_name], [-Infinity, "NaN", Infinity, "NaN"]);
  assert(Number.isNaN(read?.rms) && Array.isArray(read?.worst?.baseline) && read?.worst?.other === Infinity);
});

test("a time in a title has the digits that a pixel tells apart", () => {
  assert.equal(roundedTime(69.9202670812, 0.00125), 69.92);
  assert.equal(roundedTime(1467158400.4567, 0.5), 1467158400.5);
  assert.equal(roundedTime(1 / 3, 0), 1 / 3);
  assert(Math.abs(roundedTime(1.23456789e-9, 1e-12) - 1.23456789e-9) <= 1e-12);
});
