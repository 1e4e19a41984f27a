// What the curves of a pair are at a time: real samples, as they were kept.

import type { Curve, PairCurves, Value } from "../data/source";
import { sampleAt } from "../plot/samples";

/** The sample in force: the last at or before the time. */
export interface SampleReading {
  time: number;
  value: Value;
}

export interface PairReading {
  baseline: SampleReading | null;
  other: SampleReading | null;
  difference: SampleReading | null;
  tolerance: SampleReading | null;
}

/**
 * The samples in force at a time. Between two kept samples of a thinned curve others were left out;
 * the time that comes with a sample says where it is.
 */
export function readPair(curves: PairCurves, time: number): PairReading {
  return {
    baseline: reading(curves.baseline, curves.baseline_imaginary, time),
    other: reading(curves.other, curves.other_imaginary, time),
    difference: reading(curves.difference, null, time),
    tolerance: reading(curves.tolerance, null, time),
  };
}

function reading(real: Curve | null, imaginary: Curve | null, time: number): SampleReading | null {
  if (real === null) return null;
  const place = sampleAt(real.times, time);
  const at = real.times[place];
  if (at === undefined) return null;
  const value = real.values[place]!;
  const other = imaginary?.values[sampleAt(imaginary.times, time)];
  return { time: at, value: other === undefined ? value : [value, other] };
}

/**
 * The roundest time within a pixel of `time`: what stands in a title needs no more digits than the
 * cursor has. `resolution` is the time that a pixel stands for.
 */
export function roundedTime(time: number, resolution: number): number {
  if (!(resolution > 0)) return time;
  const step = 10 ** Math.floor(Math.log10(resolution));
  const rounded = Number((Math.round(time / step) * step).toPrecision(15));
  return Math.abs(rounded - time) <= resolution ? rounded : time;
}
