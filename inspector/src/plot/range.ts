// Which values an axis spans.

import type { Curve, Window } from "../data/source";
import type { PlotContent, PlotCurve } from "./content";
import { samplesIn } from "./samples";

export interface Range {
  low: number;
  high: number;
}

/** Part of the span that stays free above and below. */
const MARGIN = 0.06;
/** A band is shown as far as this many times the span of the curves beyond them. */
const BAND_ROOM = 1;

/** The values to show for a window of time; [0, 1] where there are none. */
export function valueRange(content: PlotContent, window: Window): Range {
  const curves = content.curves.map((one) => spanned(one, window)).reduce(joined, null);
  const bands = content.bands.flatMap((band) =>
    [band.low, band.high].map((curve) => spanned({ curve, isStepped: band.isStepped }, window)),
  );
  const outer = bands.reduce(joined, null);
  let range = curves ?? outer;
  if (range !== null && outer !== null) {
    const span = range.high - range.low;
    const room = span > 0 ? span * BAND_ROOM : Infinity;
    range = {
      low: Math.min(range.low, Math.max(outer.low, range.low - room)),
      high: Math.max(range.high, Math.min(outer.high, range.high + room)),
    };
  }
  return withMargin(range ?? { low: 0, high: 1 }, content.fromZero === true);
}

function joined(a: Range | null, b: Range | null): Range | null {
  if (a === null || b === null) return a ?? b;
  return { low: Math.min(a.low, b.low), high: Math.max(a.high, b.high) };
}

/** Least and largest finite value that the window shows of a curve. */
export function spanned(
  { curve, isStepped }: Pick<PlotCurve, "curve" | "isStepped">,
  window: Window,
): Range | null {
  const [first, beyond] = samplesIn(curve.times, window);
  let low = Infinity;
  let high = -Infinity;
  const take = (value: number): void => {
    if (!Number.isFinite(value)) return;
    if (value < low) low = value;
    if (value > high) high = value;
  };
  for (let sample = first; sample < beyond; sample++) {
    const time = curve.times[sample]!;
    if (time > window.last) {
      if (!isStepped) take(interpolated(curve, sample, window.last));
    } else if (time < window.first) {
      take(isStepped ? curve.values[sample]! : interpolated(curve, sample + 1, window.first));
    } else take(curve.values[sample]!);
  }
  return low <= high ? { low, high } : null;
}

/** The value at a time on the line that ends at a sample. */
function interpolated({ times, values }: Curve, sample: number, time: number): number {
  const before = sample - 1;
  if (before < 0 || sample >= times.length) return NaN;
  const part = (time - times[before]!) / (times[sample]! - times[before]!);
  return values[before]! + (values[sample]! - values[before]!) * part;
}

function withMargin({ low, high }: Range, fromZero: boolean): Range {
  const bottom = fromZero ? Math.min(0, low) : low;
  const top = fromZero ? Math.max(0, high) : high;
  const span = top - bottom;
  const size = Math.max(Math.abs(bottom), Math.abs(top));
  // A span of a few units in the last place is one that an axis cannot show.
  const room = span > size * 1e-13 ? span * MARGIN : size === 0 ? 1 : size * 0.1;
  const limit = Number.MAX_VALUE / 4;
  return {
    low: Math.max(-limit, fromZero && bottom === 0 ? 0 : bottom - room),
    high: Math.min(limit, fromZero && top === 0 && bottom < 0 ? 0 : top + room),
  };
}
