// Finding samples in curves: times never fall, and equal times are an event.

import type { Curve, Window } from "../data/source";

/** The number of times before `time`. */
export function countBefore(times: Float64Array, time: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (times[middle]! < time) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The number of times that are not after `time`. */
export function countUpTo(times: Float64Array, time: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (times[middle]! <= time) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The samples in the window and one on either side, as [first, beyond the last). */
export function samplesIn(times: Float64Array, window: Window): [number, number] {
  const first = Math.max(0, countBefore(times, window.first) - 1);
  const beyond = Math.min(times.length, countUpTo(times, window.last) + 1);
  return [first, Math.max(first, beyond)];
}

/** The sample in force at a time, the last at or before it; -1 before the first. */
export function sampleAt(times: Float64Array, time: number): number {
  return countUpTo(times, time) - 1;
}

/** The sample nearest to a time; of equally near ones the earlier; -1 without samples. */
export function nearestSample(times: Float64Array, time: number): number {
  const before = sampleAt(times, time);
  const after = before + 1;
  if (before < 0) return times.length === 0 ? -1 : 0;
  if (after >= times.length) return before;
  return time - times[before]! <= times[after]! - time ? before : after;
}

/** The next or previous distinct time of a curve; null where there is none. */
export function neighbouringTime(times: Float64Array, time: number, isNext: boolean): number | null {
  const place = isNext ? countUpTo(times, time) : countBefore(times, time) - 1;
  return times[place] ?? null;
}

/** First and last time of several curves; null without samples. */
export function extentOf(curves: Iterable<Curve>): Window | null {
  let first = Infinity;
  let last = -Infinity;
  for (const { times } of curves) {
    if (times.length === 0) continue;
    first = Math.min(first, times[0]!);
    last = Math.max(last, times[times.length - 1]!);
  }
  return first <= last ? { first, last } : null;
}
