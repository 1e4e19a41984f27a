// Where the buttons and keys of a pair jump to.

import type { Interval, Verdict, Window } from "../data/source";

/** The stretch after or before a time; null where there is none. The time is that of its start. */
export function neighbouringInterval(
  intervals: readonly Interval[],
  time: number,
  isNext: boolean,
): Interval | null {
  if (isNext) return intervals.find((interval) => interval.first > time) ?? null;
  return [...intervals].reverse().find((interval) => interval.first < time) ?? null;
}

/** The stretch that the worst value is in; the value alone if it is beyond the stretches that were kept. */
export function worstStretch({ worst, intervals }: Verdict): Window | null {
  if (worst === null) return null;
  const { time } = worst;
  return intervals.find(({ first, last }) => first <= time && time <= last) ?? { first: time, last: time };
}
