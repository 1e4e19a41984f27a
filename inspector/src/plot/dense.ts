// Where a curve goes up and down within single columns of pixels, its lines fill these columns. Lines
// as high as the plot, thousands of them, take long to draw; a bar for each column looks the same.

import type { Curve } from "../data/source";
import type { Transform } from "./pen";

/** What the curve covers of a column of pixels: from `top` down to `bottom`, in canvas pixels. */
export interface Bar {
  /** The column from x = column to column + 1. */
  column: number;
  top: number;
  bottom: number;
}

/** A curve in two kinds of parts, which together draw all of it. */
export interface Parts {
  /** The samples of each line, by their indices. Lines end at the first and last samples of bars. */
  lines: Uint32Array[];
  bars: Bar[];
}

/** So many columns in a row are bars, or none: a spike stays a line. */
const LEAST_COLUMNS = 4;
/** Three columns are busy where the curve covers their height more often than this. */
const LEAST_PASSES = 3.2;
/** Lower stretches are drawn as lines, which are smooth; in line widths. */
const LEAST_HEIGHT = 6;

/** A bar, the places of its samples in the list of indices, and how far the curve goes up and down in it. */
interface Column extends Bar {
  first: number;
  beyond: number;
  travel: number;
}

/**
 * Divides the samples of these indices into lines and bars. A curve that crosses from one column to the
 * next belongs to both, up to the border; a gap ends what is covered. Cost: one pass.
 */
export function lineParts(
  { times, values }: Curve, indices: Uint32Array, transform: Transform, isStepped: boolean, lineWidth: number,
): Parts {
  const columns = columnsOf(times, values, indices, transform, isStepped);
  const parts: Parts = { lines: [], bars: [] };
  let drawn = 0; // the first place that no line has reached
  for (const [from, to] of busyRuns(columns, LEAST_HEIGHT * lineWidth)) {
    const { first } = columns[from]!;
    const last = columns[to]!.beyond - 1;
    if (first > drawn) parts.lines.push(indices.subarray(drawn, first + 1));
    for (let at = from; at <= to; at++) parts.bars.push(columns[at]!);
    drawn = last;
  }
  if (drawn === 0 || drawn < indices.length - 1) parts.lines.push(indices.subarray(drawn));
  return parts;
}

function columnsOf(
  times: Float64Array, values: Float64Array, indices: Uint32Array,
  { xScale, xOffset, yScale, yOffset }: Transform, isStepped: boolean,
): Column[] {
  const columns: Column[] = [];
  let current: Column | null = null; // null after a gap
  let x = 0;
  let y = 0;
  for (let place = 0; place < indices.length; place++) {
    const index = indices[place]!;
    const value = values[index]!;
    if (!Number.isFinite(value)) {
      current = null;
      continue;
    }
    const nextX = times[index]! * xScale + xOffset;
    const nextY = value * yScale + yOffset;
    const column = Math.floor(nextX);
    if (current === null || column !== current.column) {
      const next: Column = { column, top: nextY, bottom: nextY, first: place, beyond: place, travel: 0 };
      if (current !== null) {
        const heightAt = (border: number): number =>
          isStepped ? y : y + ((nextY - y) * (border - x)) / (nextX - x);
        cover(current, y, heightAt(current.column + 1));
        y = heightAt(column);
        cover(next, y, y);
      } else y = nextY;
      columns.push(next);
      current = next;
    }
    cover(current, y, nextY);
    current.beyond = place + 1;
    x = nextX;
    y = nextY;
  }
  return columns;
}

function cover(column: Column, from: number, to: number): void {
  column.travel += Math.abs(to - from);
  if (to < column.top) column.top = to;
  if (to > column.bottom) column.bottom = to;
}

/** First and last of the columns that become bars, run by run. */
function* busyRuns(columns: readonly Column[], leastHeight: number): Iterable<[number, number]> {
  let from = -1; // of the run that goes on; -1 outside
  for (let at = 0; at <= columns.length; at++) {
    const busy = at < columns.length && isBusy(columns, at, leastHeight);
    if (busy && from >= 0 && columns[at]!.column - columns[at - 1]!.column <= 1) continue;
    if (from >= 0 && isLong(columns, from, at - 1)) yield [from, at - 1];
    from = busy ? at : -1;
  }
}

function isLong(columns: readonly Column[], from: number, to: number): boolean {
  return columns[to]!.column - columns[from]!.column + 1 >= LEAST_COLUMNS;
}

/** Whether the curve goes up and down a lot in a column and the two beside it. */
function isBusy(columns: readonly Column[], at: number, leastHeight: number): boolean {
  const { column } = columns[at]!;
  let { top, bottom, travel } = columns[at]!;
  for (const beside of [columns[at - 1], columns[at + 1]]) {
    if (beside === undefined || Math.abs(beside.column - column) > 1) continue;
    top = Math.min(top, beside.top);
    bottom = Math.max(bottom, beside.bottom);
    travel += beside.travel;
  }
  return bottom - top >= leastHeight && travel > LEAST_PASSES * (bottom - top);
}
