import assert from "node:assert/strict";
import { test } from "node:test";
import type { Curve } from "../src/data/source";
import { lineParts } from "../src/plot/dense";
import type { Parts } from "../src/plot/dense";
import { Strokes } from "../src/plot/strokes";

const HEIGHT = 300;
const TRANSFORM = { xScale: 10, xOffset: 5, yScale: -HEIGHT, yOffset: HEIGHT };

let state = 1;
const random = (): number => (state = (state * 16807) % 2147483647) / 2147483647;

/** `value` at 40 samples a time unit, which are 4 samples a column of pixels. */
function curve(last: number, value: (time: number, sample: number) => number): Curve {
  const times = Float64Array.from({ length: last * 40 }, (_, sample) => sample / 40);
  return { times, values: times.map((time, sample) => value(time, sample)), thinned: false };
}

/** High and low in turn, as the least and the largest value of a column of pixels are. */
const noisy = (sample: number): number => (sample % 2 === 0 ? 0.3 : 0.7) + (random() - 0.5) * 0.4;

const parts = (one: Curve, isStepped = false): Parts =>
  lineParts(one, Uint32Array.from(one.times.keys()), TRANSFORM, isStepped, 1.5);

/** Least and largest y of every column, by walking along each line in small steps. */
function walked({ times, values }: Curve, isStepped: boolean): Map<number, [number, number]> {
  const found = new Map<number, [number, number]>();
  const take = (x: number, y: number): void => {
    const [top, bottom] = found.get(Math.floor(x)) ?? [Infinity, -Infinity];
    found.set(Math.floor(x), [Math.min(top, y), Math.max(bottom, y)]);
  };
  const { xScale, xOffset, yScale, yOffset } = TRANSFORM;
  for (let sample = 1; sample < times.length; sample++) {
    const [fromX, toX] = [times[sample - 1]! * xScale + xOffset, times[sample]! * xScale + xOffset];
    const [fromY, toY] = [values[sample - 1]! * yScale + yOffset, values[sample]! * yScale + yOffset];
    if (Number.isNaN(fromY + toY)) continue;
    for (let step = 0; step <= 1000; step++) {
      const part = step / 1000;
      take(fromX + (toX - fromX) * part, isStepped ? fromY : fromY + (toY - fromY) * part);
    }
    take(toX, toY);
  }
  return found;
}

test("bars cover of each column what the lines through it cover", () => {
  for (const isStepped of [false, true]) {
    const noise = curve(50, (_, sample) => noisy(sample));
    const { bars, lines } = parts(noise, isStepped);
    const expected = walked(noise, isStepped);
    assert(bars.length > 490, `${bars.length} bars`);
    for (const { column, top, bottom } of bars) {
      const [least, largest] = expected.get(column)!;
      assert(Math.abs(top - least) < 0.5 && Math.abs(bottom - largest) < 0.5, `column ${column}`);
    }
    assert.deepEqual(lines.flatMap((line) => [...line]), [], "nothing is left for lines");
  }
});

test("a calm curve stays a line, also with a spike or a jump", () => {
  const calm = (time: number): number => Math.sin(time / 5) * 0.4 + 0.5;
  const curves = [
    curve(50, calm),
    curve(50, (time, sample) => calm(time) + (sample % 400 === 7 ? 0.5 : 0)),
    curve(50, (time) => (time < 20 ? 0 : 1)),
    curve(50, () => 0.5 + random() * 0.01), // noise that is lower than a few lines
  ];
  for (const one of curves) {
    const { bars, lines } = parts(one);
    assert.equal(bars.length, 0);
    assert.deepEqual(lines.map((line) => [...line]), [[...one.times.keys()]]);
  }
});

test("a noisy stretch becomes bars, and the lines beside it lead up to it", () => {
  const one = curve(30, (time, sample) => (time >= 10 && time < 20 ? noisy(sample) : 0.5));
  const { bars, lines } = parts(one);
  assert(bars.every(({ column }) => column >= 103 && column <= 206), "where the noise is");
  assert(bars.length >= 98);
  assert.equal(lines.length, 2);
  const [before, after] = lines.map((line) => [...line]) as [number[], number[]];
  const x = (sample: number): number => Math.floor(one.times[sample]! * 10 + 5);
  assert.equal(before[0], 0);
  assert.equal(x(before.at(-1)!), bars[0]!.column);
  assert.equal(x(after[0]!), bars.at(-1)!.column);
  assert.equal(after.at(-1), one.times.length - 1);
});

test("no bar bridges a gap, within a column or over many", () => {
  const one = curve(30, (time, sample) => {
    if (time >= 10 && time < 15) return NaN;
    const isUp = Math.floor(time * 10 + 5 + 0.5) % 2 === 0;
    if (sample % 4 === 2) return NaN; // each column has a gap in its middle
    return isUp ? 0.8 + random() * 0.2 : random() * 0.2;
  });
  const { bars } = parts(one);
  assert(bars.every(({ column }) => column <= 105 || column >= 155), "not in the wide gap");
  for (const { top, bottom } of bars) {
    assert(!(top < 0.3 * HEIGHT && bottom > 0.7 * HEIGHT), `from ${top} to ${bottom} over a gap`);
  }
});

test("noise with gaps becomes bars that cover no more than its lines", () => {
  const one = curve(50, (_, sample) => (sample % 97 === 0 ? NaN : noisy(sample)));
  const { bars } = parts(one);
  const expected = walked(one, false);
  assert(bars.length > 450, `${bars.length} bars`);
  for (const { column, top, bottom } of bars) {
    const [least, largest] = expected.get(column)!;
    assert(top > least - 0.5 && bottom < largest + 0.5, `column ${column}`);
  }
});

test("no sample is lost between lines and bars", () => {
  for (let round = 0; round < 50; round++) {
    const isNoisy = Array.from({ length: 20 }, () => random() < 0.5);
    const one = curve(20, (time, sample) => (random() < 0.01 ? NaN : isNoisy[Math.floor(time)]! ? noisy(sample) : 0.5));
    const { lines, bars } = parts(one, round % 2 === 0);
    const inLines = new Set(lines.flatMap((line) => [...line]));
    const columns = new Set(bars.map(({ column }) => column));
    for (const sample of one.times.keys()) {
      if (Number.isNaN(one.values[sample]!) || inLines.has(sample)) continue;
      assert(columns.has(Math.floor(one.times[sample]! * 10 + 5)), `sample ${sample}`);
    }
  }
});

// ---- Strokes ----

/** A path as the lines in it. */
class Path {
  readonly lines: number[][] = [];
  private place = [NaN, NaN];
  moveTo(x: number, y: number): void {
    this.place = [x, y];
  }
  lineTo(x: number, y: number): void {
    this.lines.push([...this.place, x, y]);
    this.place = [x, y];
  }
}

/** What was stroked, with the offset of the dashes. */
class Canvas {
  lineDashOffset = 0;
  readonly stroked: { lines: number[][]; offset: number }[] = [];
  stroke({ lines }: Path): void {
    if (lines.length > 0) this.stroked.push({ lines, offset: this.lineDashOffset });
  }
}

test("a long line is stroked in short paths that overlap by one line, which joins them", () => {
  const canvas = new Canvas();
  const strokes = new Strokes<Path>(canvas, false, () => new Path());
  strokes.moveTo(0, 0);
  for (let x = 1; x <= 1000; x++) strokes.lineTo(x, x % 2);
  strokes.end();
  assert(canvas.stroked.every(({ lines }) => lines.length <= 65));
  canvas.stroked.slice(1).forEach(({ lines }, place) => assert.deepEqual(lines[0], canvas.stroked[place]!.lines.at(-1)));
  const all = canvas.stroked.flatMap(({ lines }, place) => (place === 0 ? lines : lines.slice(1)));
  assert.deepEqual(all, Array.from({ length: 1000 }, (_, x) => [x, x % 2, x + 1, (x + 1) % 2]));
  assert(canvas.stroked.every(({ offset }) => offset === 0));
});

test("the dashes of a long line go on from path to path, and begin again after a gap", () => {
  const canvas = new Canvas();
  const strokes = new Strokes<Path>(canvas, true, () => new Path());
  strokes.moveTo(0, 0);
  for (let x = 3; x <= 450; x += 3) strokes.lineTo(x, 0);
  strokes.moveTo(500, 0);
  strokes.lineTo(510, 0);
  strokes.end();
  let end = 0;
  for (const { lines, offset } of canvas.stroked.slice(0, -1)) {
    assert.equal(offset, end, "the length of what was drawn before");
    assert.equal(lines[0]![0], end);
    end = lines.at(-1)![2]!;
  }
  assert.equal(end, 450);
  assert.deepEqual(canvas.stroked.at(-1), { lines: [[500, 0, 510, 0]], offset: 0 });
});
