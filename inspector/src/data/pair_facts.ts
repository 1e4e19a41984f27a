// What the state of the store says of a pair that was compared: how its curves look, and which
// components it has.

import type { Look, PairCurves, SignalColumns, StoreState, Verdict } from "./source";

/** The shape of a sample as it is compared, and the component that is shown if none is asked for. */
export function componentsOf(state: StoreState | null, verdict: Verdict): { shape: number[]; component: number } {
  const place = placeOf(state, verdict.baseline?.id) ?? placeOf(state, verdict.other?.id);
  const shape = [...((place === null ? undefined : state?.signals.shape[place]) ?? [])];
  while (shape[shape.length - 1] === 1) shape.pop();
  return { shape, component: verdict.worst?.component ?? 0 };
}

/** Colours, dashes and the unit of a pair. */
export function lookOf(
  state: StoreState | null, verdict: Verdict,
): Pick<PairCurves, "baseline_look" | "other_look" | "unit"> {
  const baseline = placeOf(state, verdict.baseline?.id);
  const other = placeOf(state, verdict.other?.id);
  const signals = state?.signals;
  const unit = (place: number | null): string | null => (place === null ? null : (signals?.unit[place] ?? null));
  return {
    baseline_look: signalLook(signals, baseline),
    other_look: signalLook(signals, other),
    unit: unit(baseline) ?? unit(other),
  };
}

function placeOf(state: StoreState | null, id: number | undefined): number | null {
  const place = state === null || id === undefined ? -1 : state.signals.id.indexOf(id);
  return place < 0 ? null : place;
}

function signalLook(signals: SignalColumns | undefined, place: number | null): Look | null {
  const color = place === null ? undefined : signals?.color[place];
  const dash = place === null ? undefined : signals?.dash[place];
  return color === undefined || dash === undefined ? null : { color, dash };
}
