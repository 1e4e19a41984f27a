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

/** First and last time at which one of several curves has a number; of their samples if none has any. */
export function extentOf(curves: readonly Curve[]): Window | null {
  const ends = curves.map(numbersOf).filter((window) => window !== null);
  const all = ends.length > 0 ? ends : curves.map(timesOf).filter((window) => window !== null);
  if (all.length === 0) return null;
  const first = Math.min(...all.map((window) => window.first));
  return { first, last: Math.max(...all.map((window) => window.last)) };
}

function timesOf({ times }: Curve): Window | null {
  return times.length === 0 ? null : { first: times[0]!, last: times[times.length - 1]! };
}

/** From the first to the last sample that is no gap. */
function numbersOf({ times, values }: Curve): Window | null {
  let first = 0;
  let last = values.length - 1;
  while (first <= last && Number.isNaN(values[first]!)) first++;
  while (last >= first && Number.isNaN(values[last]!)) last--;
  return first > last ? null : { first: times[first]!, last: times[last]! };
}
