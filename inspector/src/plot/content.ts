// What a plot shows.

import type { Curve, Look } from "../data/source";

/** `key` tells the curve apart while its samples change. `isStepped`: zero-order hold. */
export interface PlotCurve extends Look {
  key: string;
  label: string;
  curve: Curve;
  isStepped: boolean;
  /** In CSS pixels, 1.5 by default. */
  width?: number;
}

/** The area between two curves on the same times; NaN is a gap. */
export interface Band {
  key: string;
  color: string;
  low: Curve;
  high: Curve;
  isStepped: boolean;
}

/** A stretch of the time axis with a colour behind the curves. */
export interface Shade {
  first: number;
  last: number;
  color: string;
}

/** One plot: its curves, and how its values are scaled. */
export interface PlotContent {
  key: string;
  /** What stands above it, and what a screen reader says. */
  title: string;
  /** Stands above it in place of the title, which pictures still have. */
  heading?: HTMLElement;
  unit: string | null;
  curves: PlotCurve[];
  bands: Band[];
  shades: Shade[];
  /** Its part of the height, in comparison with the other plots; 1 by default. */
  weight?: number;
  /** Whether the axis of values begins at 0. */
  fromZero?: boolean;
}
