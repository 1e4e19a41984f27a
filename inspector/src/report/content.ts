// The two plots of a pair: both sides with the tolerance around the baseline, and their difference.

import type { Curve, Look, PairCurves, Verdict } from "../data/source";
import type { PlotContent, PlotCurve, Shade } from "../plot/content";

/** What the theme says; looks are those of the two sides. */
export interface PairColors {
  looks: readonly [Look, Look];
  band: string;
  out: string;
  difference: string;
  tolerance: string;
}

/** Both plots; the second is missing where nothing was compared, and all are without a curve. */
export function pairContent(curves: PairCurves, verdict: Verdict, colors: PairColors): PlotContent[] {
  const isStepped = (verdict.sync?.interp ?? "zoh") === "zoh";
  const shades: Shade[] = verdict.intervals.map(({ first, last }) => ({ first, last, color: colors.out }));
  // The baseline is the wider line, so that both are seen where they are equal.
  const side = (key: string, curve: Curve | null, look: Look, dash = look.dash): PlotCurve[] => {
    const width = key.startsWith("baseline") ? 2.5 : 1.25;
    return curve === null ? [] : [{ key, label: key, curve, color: look.color, dash, isStepped, width }];
  };
  const [here, there] = colors.looks;
  const signals: PlotContent = {
    key: "signals",
    title: curves.baseline_imaginary || curves.other_imaginary ? "both sides, real and imaginary (dotted) part" : "both sides",
    unit: curves.unit,
    curves: [
      ...side("baseline", curves.baseline, here),
      ...side("other", curves.other, there),
      ...side("baseline, imaginary", curves.baseline_imaginary, here, ":"),
      ...side("other, imaginary", curves.other_imaginary, there, ":"),
    ],
    bands:
      curves.low !== null && curves.high !== null
        ? [{ key: "tolerance", color: colors.band, low: curves.low, high: curves.high, isStepped }]
        : [],
    shades,
    weight: 2,
  };
  if (signals.curves.length === 0) return [];
  if (curves.difference === null) return [signals];
  return [signals, differencePlot(curves, curves.difference, shades, isStepped, colors)];
}

function differencePlot(
  curves: PairCurves,
  difference: Curve,
  shades: Shade[],
  isStepped: boolean,
  colors: PairColors,
): PlotContent {
  const zero: Curve | null = curves.tolerance && {
    ...curves.tolerance,
    values: curves.tolerance.values.map((value) => (Number.isNaN(value) ? NaN : 0)),
  };
  return {
    key: "difference",
    title: "difference, and what is allowed",
    unit: curves.unit,
    curves: [{ key: "difference", label: "difference", curve: difference, color: colors.difference, dash: "-", isStepped }],
    bands:
      zero !== null && curves.tolerance !== null
        ? [{ key: "tolerance", color: colors.tolerance, low: zero, high: curves.tolerance, isStepped }]
        : [],
    shades,
    fromZero: true,
  };
}
