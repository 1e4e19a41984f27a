// Which samples a screen can tell apart: of each pixel column the first, the least, the largest and
// the last.

/** More samples than this for a column are thinned before they are drawn. */
export const DENSE = 4;

/**
 * Indices of the samples in [first, beyond) worth drawing on `columns` pixel columns from `left` to
 * `right` in time, rising. A gap keeps one NaN; infinite values count as gaps, as they cannot be
 * drawn. Cost: one pass.
 */
export function worthDrawing(
  times: Float64Array,
  values: Float64Array,
  [first, beyond]: readonly [number, number],
  left: number,
  right: number,
  columns: number,
): Uint32Array {
  const kept: number[] = [];
  const perTime = columns / (right - left);
  let start = first;
  while (start < beyond) {
    const column = Math.floor((times[start]! - left) * perTime);
    const isGap = !Number.isFinite(values[start]!);
    let least = start;
    let largest = start;
    let end = start + 1;
    for (; end < beyond; end++) {
      const value = values[end]!;
      if (Number.isFinite(value) === isGap) break;
      if (Math.floor((times[end]! - left) * perTime) !== column && !isGap) break;
      if (value < values[least]!) least = end;
      if (value > values[largest]!) largest = end;
    }
    keep(kept, start);
    if (!isGap) {
      keep(kept, Math.min(least, largest));
      keep(kept, Math.max(least, largest));
      keep(kept, end - 1);
    }
    start = end;
  }
  return Uint32Array.from(kept);
}

function keep(kept: number[], sample: number): void {
  if (kept.length === 0 || kept[kept.length - 1]! < sample) kept.push(sample);
}
