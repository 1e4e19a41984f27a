// What the plots show of the store: pure functions from the store, the layout and the samples.

import type { Curve, Window } from "../data/source";
import type { PlotContent, PlotCurve } from "../plot/content";
import { readColor } from "../report/colors";
import { union } from "../plot/window";
import { curveNames } from "./curve_names";
import type { Layout } from "./layout";
import type { StoreView } from "./store_view";

/** More signals than this are not drawn at once, however many are ticked. */
export const MOST_SIGNALS = 64;

/** The signals that the plots show, and why others that are ticked are not drawn. */
export interface Drawn {
  ids: number[];
  isDate: boolean;
  /** Ticked, but beyond MOST_SIGNALS. */
  tooMany: number;
  /** Ticked, but their times are dates where those of the drawn ones are not, or the other way round. */
  otherTimes: number;
}

/** The ticked signals that have a curve. One time axis has either dates or numbers. */
export function drawnSignals(view: StoreView): Drawn {
  const { id, visible, drawable, is_date } = view.signals;
  const places = [...id.keys()].filter((place) => visible[place] && drawable[place]);
  const isDate = is_date[places[0] ?? -1] ?? false;
  const fitting = places.filter((place) => is_date[place] === isDate);
  return {
    ids: fitting.slice(0, MOST_SIGNALS).map((place) => id[place]!),
    isDate,
    tooMany: Math.max(0, fitting.length - MOST_SIGNALS),
    otherTimes: places.length - fitting.length,
  };
}

/** All of the time of these signals; null if none of them has a sample. */
export function extentOfSignals(view: StoreView, ids: readonly number[]): Window | null {
  const { start, end } = view.signals;
  return ids
    .map((id) => view.place(id))
    .map((place) => {
      const [first, last] = place === null ? [null, null] : [start[place] ?? null, end[place] ?? null];
      return first === null || last === null || !(first <= last) ? null : { first, last };
    })
    .reduce(union, null);
}

/** The names of all curves, plot by plot. */
export function namesOf(view: StoreView, layout: Layout): string[] {
  return layout.plots.flat().flatMap((id) => {
    const place = view.place(id);
    return place === null ? [] : curveNames(view.signals, place).map(({ name }) => name);
  });
}

/** What a signal is called where it is drawn. */
export function signalName(view: StoreView, place: number): string {
  const { label, path, id } = view.signals;
  return label[place] || path[place] || `signal ${id[place]}`;
}

/** `colorOf`: the colour of the store as it can be seen on the ground of the page. */
export function contentsOf(
  view: StoreView, layout: Layout, curves: ReadonlyMap<string, Curve>, colorOf: (color: string) => string,
): PlotContent[] {
  return layout.plots.map((ids, place) => {
    const places = ids.map((id) => view.place(id)).filter((at): at is number => at !== null);
    const names = places.map((at) => signalName(view, at));
    return {
      key: `plot ${place}`,
      title: names.length === 0 ? "empty plot" : names.join(", "),
      unit: commonUnit(places.map((at) => view.signals.unit[at] ?? null)),
      curves: places.flatMap((at) => curvesOf(view, at, curves, colorOf)),
      bands: [],
      shades: [],
    };
  });
}

/** The unit of an axis: that of all its signals, else none. */
export function commonUnit(units: readonly (string | null)[]): string | null {
  const [first = null, ...others] = units;
  return others.every((unit) => unit === first) ? first : null;
}

/** The colour of a component: that of the signal for the first, then others around the circle of hues. */
export function curveColor(color: string, component: number): string {
  const parts = readColor(color);
  if (component === 0 || parts === null) return color;
  const [red, green, blue] = parts.map((part) => part / 255) as [number, number, number];
  const [high, low] = [Math.max(red, green, blue), Math.min(red, green, blue)];
  const sector = high === red ? (green - blue) / (high - low) : high === green ? 2 + (blue - red) / (high - low) : 4 + (red - green) / (high - low);
  const hue = high === low ? 0 : sector * 60;
  // Greys have no hue to turn: their components get some colour.
  const saturation = high === low ? 0.7 : 1;
  return hueColor(hue + component * HUE_STEP, saturation * Math.max(high - low, 0.6), Math.max(high, 0.55));
}

/** Degrees between the hues of two components: neighbours are far apart, and 16 all differ. */
const HUE_STEP = 137.5;

/** A hue in degrees, with what separates the largest part from the least, and the largest part. */
function hueColor(hue: number, chroma: number, high: number): string {
  const part = (offset: number): string => {
    const place = (((offset + hue / 60) % 6) + 6) % 6;
    const value = high - chroma * Math.max(0, Math.min(place, 4 - place, 1));
    return Math.round(255 * Math.min(Math.max(value, 0), 1)).toString(16).padStart(2, "0");
  };
  return `#${part(5)}${part(3)}${part(1)}`;
}

function curvesOf(
  view: StoreView, place: number, curves: ReadonlyMap<string, Curve>, colorOf: (color: string) => string,
): PlotCurve[] {
  const { signals } = view;
  const color = colorOf(signals.color[place]!);
  const isStepped = view.sync(place).interp === "zoh";
  return curveNames(signals, place).flatMap(({ name, suffix, component }) => {
    const curve = curves.get(name);
    if (curve === undefined) return [];
    const label = `${signalName(view, place)}${suffix === "" ? "" : ` ${suffix}`}`;
    // The imaginary part of a curve is drawn thinner than its real part.
    return [{ key: name, label, curve, isStepped, color: curveColor(color, component), dash: signals.dash[place]!, width: name.endsWith("i") ? 1 : 1.5 }];
  });
}
