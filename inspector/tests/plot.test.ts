import assert from "node:assert/strict";
import { test } from "node:test";
import type { Curve, Window } from "../src/data/source";
import { dashPattern } from "../src/plot/canvas";
import { Pen, cutLine, numbersFrom, traceCurve } from "../src/plot/pen";
import { spanned, valueRange } from "../src/plot/range";
import { countBefore, countUpTo, extentOf, nearestSample, neighbouringTime, sampleAt, samplesIn } from "../src/plot/samples";
import { worthDrawing } from "../src/plot/thin";
import { around, contains, fitted, panned, surroundings, union, width, zoomed } from "../src/plot/window";

const doubles = (...numbers: number[]): Float64Array => Float64Array.from(numbers);
const curve = (times: number[], values: number[]): Curve => ({ times: doubles(...times), values: doubles(...values), thinned: false });
const BOX = { left: 0, top: 0, right: 100, bottom: 100 };
const PLAIN = { xScale: 1, xOffset: 0, yScale: 1, yOffset: 0 };

class Recorder {
  readonly lines: string[] = [];
  moveTo(x: number, y: number): void {
    this.lines.push(`M ${x} ${y}`);
  }
  lineTo(x: number, y: number): void {
    this.lines.push(`L ${x} ${y}`);
  }
}

function traced(one: Curve, isStepped: boolean): string[] {
  const recorder = new Recorder();
  traceCurve(new Pen(recorder, BOX), one.times, one.values, numbersFrom(0, one.times.length), PLAIN, isStepped, 3);
  return recorder.lines;
}

test("a curve is drawn from sample to sample", () => {
  assert.deepEqual(traced(curve([0, 10, 20], [5, 7, 6]), false), ["M 0 5", "L 10 7", "L 20 6"]);
});

test("a stepped curve holds each value until the next sample", () => {
  assert.deepEqual(traced(curve([0, 10], [5, 7]), true), ["M 0 5", "L 10 5", "L 10 7"]);
});

test("a gap interrupts a curve, and nothing bridges it", () => {
  assert.deepEqual(traced(curve([0, 10, 20, 30, 40], [5, 6, NaN, 7, 8]), false), ["M 0 5", "L 10 6", "M 30 7", "L 40 8"]);
});

test("infinite values are gaps of what is drawn", () => {
  assert.deepEqual(traced(curve([0, 10, 20, 30, 40], [5, 6, Infinity, 7, 8]), true).length, 6);
});

test("an event is drawn as a jump at one time", () => {
  assert.deepEqual(traced(curve([0, 10, 10, 20], [5, 5, 9, 9]), false), ["M 0 5", "L 10 5", "L 10 9", "L 20 9"]);
});

test("a sample alone between gaps becomes a dot", () => {
  assert.deepEqual(traced(curve([0, 10, 20], [NaN, 6, NaN]), false), ["M 8.5 6", "L 11.5 6"]);
  assert.deepEqual(traced(curve([10], [6]), true), ["M 8.5 6", "L 11.5 6"]);
});

test("lines are cut to the box and go on where they come back", () => {
  assert.deepEqual(traced(curve([10, 20, 30], [50, 150, 50]), false), ["M 10 50", "L 15 100", "M 25 100", "L 30 50"]);
  assert.equal(cutLine(-10, 200, 110, 200, BOX), null);
  assert.deepEqual(cutLine(50, -1e300, 50, 1e300, BOX), [50, 0, 50, 100]);
});

test("samples are found by their times, events too", () => {
  const times = doubles(1, 2, 2, 2, 5);
  assert.deepEqual([countBefore(times, 2), countUpTo(times, 2)], [1, 4]);
  assert.deepEqual([0.5, 1, 2, 4.9, 5, 9].map((time) => sampleAt(times, time)), [-1, 0, 3, 3, 4, 4]);
  assert.deepEqual([nearestSample(times, 0), nearestSample(times, 3.4), nearestSample(times, 3.6)], [0, 3, 4]);
  assert.equal(nearestSample(doubles(), 1), -1);
  assert.deepEqual([neighbouringTime(times, 2, true), neighbouringTime(times, 2, false), neighbouringTime(times, 5, true)], [5, 1, null]);
  assert.deepEqual(samplesIn(times, { first: 3, last: 4 }), [3, 5]);
  assert.deepEqual(samplesIn(times, { first: 6, last: 7 }), [4, 5]);
  assert.deepEqual(extentOf([curve([], []), curve([1, 3], [0, 0]), curve([2, 9], [0, 0])]), { first: 1, last: 9 });
  assert.equal(extentOf([]), null);
});

test("the extent begins and ends with numbers, not with gaps", () => {
  assert.deepEqual(extentOf([curve([0, 1, 2, 3], [NaN, 5, 6, NaN]), curve([1, 1.5], [NaN, NaN])]), { first: 1, last: 2 });
  assert.deepEqual(extentOf([curve([0, 1], [NaN, NaN])]), { first: 0, last: 1 });
});

/** What every sample draws, seen column by column: the extremes and the ends. */
function columnFacts(times: Float64Array, values: Float64Array, indices: Iterable<number>, window: Window, columns: number): string {
  const found = new Map<number, number[]>();
  for (const index of indices) {
    if (!Number.isFinite(values[index]!)) continue;
    const column = Math.floor((times[index]! - window.first) * (columns / width(window)));
    found.set(column, [...(found.get(column) ?? []), values[index]!]);
  }
  const facts = [...found].map(([column, list]) => [column, list[0], Math.min(...list), Math.max(...list), list.at(-1)]);
  return JSON.stringify(facts);
}

test("thinned samples have first, least, largest and last of every pixel column", () => {
  let state = 1;
  const random = (): number => (state = (state * 16807) % 2147483647) / 2147483647;
  for (const gaps of [0, 0.02, 0.5]) {
    const values = Float64Array.from({ length: 5000 }, () => (random() < gaps ? NaN : random() * 100));
    let time = 0;
    const times = Float64Array.from({ length: 5000 }, () => (time += random() < 0.1 ? 0 : random()));
    const window = { first: times[0]!, last: times[4999]! };
    const kept = worthDrawing(times, values, [0, 5000], window.first, window.last, 50);
    assert.equal(columnFacts(times, values, kept, window, 50), columnFacts(times, values, values.keys(), window, 50));
    assert(kept.every((index, place) => place === 0 || kept[place - 1]! < index), "indices rise");
    if (gaps === 0) assert(kept.length <= 4 * 51, `${kept.length} samples for 50 columns`);
  }
});

test("a gap between two columns keeps a NaN, so that nothing bridges it", () => {
  const values = doubles(1, 2, NaN, NaN, NaN, 3, 4);
  const kept = worthDrawing(doubles(0, 1, 2, 3, 4, 5, 6), values, [0, 7], 0, 6, 2);
  assert.deepEqual([...kept], [0, 1, 2, 5, 6]);
});

test("the range of values is that of what the window shows", () => {
  const one = { curve: curve([0, 1, 2, 3], [0, 10, -5, 100]), isStepped: true };
  assert.deepEqual(spanned(one, { first: 0.5, last: 2.5 }), { low: -5, high: 10 });
  assert.deepEqual(spanned({ ...one, isStepped: false }, { first: 0.5, last: 2.5 }), { low: -5, high: 47.5 });
  assert.equal(spanned({ ...one, curve: curve([0, 1], [NaN, Infinity]) }, { first: 0, last: 1 }), null);
});

test("a constant curve, an empty plot and huge values have a range that can be shown", () => {
  const content = (values: number[], fromZero = false) => ({
    key: "a", title: "", unit: null, bands: [], shades: [], fromZero,
    curves: [{ key: "a", label: "", color: "", dash: "-" as const, isStepped: true, curve: curve([0, 1], values) }],
  });
  const window = { first: 0, last: 1 };
  for (const values of [[3, 3], [0, 0], [NaN, NaN], [1e308, -1e308], [1, 1 + 2e-16], [-2, -2]]) {
    for (const fromZero of [false, true]) {
      const { low, high } = valueRange(content(values, fromZero), window);
      assert(Number.isFinite(high - low) && high > low, `${values}: ${low} to ${high}`);
    }
  }
  assert.equal(valueRange(content([0, 5], true), window).low, 0);
});

test("a band is shown as far as the curves are tall", () => {
  const base = { key: "a", title: "", unit: null, shades: [] };
  const line = { key: "a", label: "", color: "", dash: "-" as const, isStepped: true, curve: curve([0, 1], [0, 1]) };
  const band = { key: "b", color: "", low: curve([0, 1], [-100, -100]), high: curve([0, 1], [1.5, 1.5]), isStepped: true };
  const { low, high } = valueRange({ ...base, curves: [line], bands: [band] }, { first: 0, last: 1 });
  assert(low < -0.99 && low > -1.5, `low ${low}`);
  assert(high > 1.5 && high < 2, `high ${high}`);
});

test("zooming keeps the time under the cursor and ends at the extent", () => {
  const extent = { first: 0, last: 100 };
  const near = zoomed(extent, extent, 25, 0.5);
  assert.deepEqual(near, { first: 12.5, last: 62.5 });
  assert.deepEqual(zoomed(near, extent, 25, 100), extent);
  assert.deepEqual(panned(near, extent, -5), { first: 0, last: 50 });
  assert.deepEqual(panned(near, extent, 0.5), { first: 37.5, last: 87.5 });
});

test("no zoom goes below what doubles can tell apart", () => {
  const extent = { first: 1.7e9, last: 1.7e9 + 3600 };
  let window = extent;
  for (let step = 0; step < 200; step++) window = zoomed(window, extent, 1.7e9 + 1800, 0.5);
  assert(window.last > window.first, "still a window");
  const times = [0, 0.25, 0.5, 0.75, 1].map((part) => window.first + part * width(window));
  assert.equal(new Set(times).size, 5);
});

test("a window outside the extent becomes the whole of it", () => {
  assert.deepEqual(fitted({ first: 200, last: 300 }, { first: 0, last: 100 }), { first: 0, last: 100 });
  assert.deepEqual(fitted({ first: 60, last: 40 }, { first: 0, last: 100 }), { first: 40, last: 60 });
});

test("windows are joined, contained and surrounded", () => {
  assert.deepEqual(union({ first: 0, last: 1 }, { first: 3, last: 4 }), { first: 0, last: 4 });
  assert.equal(union(null, null), null);
  assert(contains({ first: 0, last: 2 }, { first: 0, last: 2 }));
  assert(!contains({ first: 0, last: 2 }, { first: 1, last: 3 }));
  assert.deepEqual(surroundings({ first: 40, last: 50 }, { first: 0, last: 55 }), { first: 30, last: 55 });
  assert.deepEqual(around({ first: 50, last: 50 }, { first: 0, last: 200 }, 2), { first: 49, last: 51 });
});

test("dashes grow with the line, and a full line has none", () => {
  assert.deepEqual(dashPattern("-", 2), []);
  assert.deepEqual(dashPattern("--", 2), [10, 6]);
});
