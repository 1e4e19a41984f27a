// The curves of a signal: one a component, of complex values two.

import type { SignalColumns } from "../data/source";

/** `name` is what the server is asked for, `suffix` what tells it from the signal's other curves. */
export interface CurveName {
  name: string;
  suffix: string;
  /** Counts column by column from 0. */
  component: number;
}

/** More components than this of a signal are not drawn. */
export const MOST_COMPONENTS = 16;

export function curveNames(signals: SignalColumns, place: number): CurveName[] {
  if (!signals.drawable[place]) return [];
  const id = signals.id[place]!;
  const shape = signals.shape[place]!;
  const isComplex = signals.class[place]!.startsWith("complex");
  const components = shape.reduce((product, length) => product * length, 1);
  const names: CurveName[] = [];
  for (let component = 0; component < Math.min(components, MOST_COMPONENTS); component++) {
    const index = components === 1 ? "" : `[${indexOf(component, shape).join(", ")}]`;
    const name = components === 1 ? String(id) : `${id}.${component}`;
    names.push({ name, suffix: isComplex ? `${index} real`.trim() : index, component });
    if (isComplex) names.push({ name: `${name}i`, suffix: `${index} imaginary`.trim(), component });
  }
  return names;
}

/** How many components are left out. */
export function componentsLeftOut(signals: SignalColumns, place: number): number {
  const components = signals.shape[place]!.reduce((product, length) => product * length, 1);
  return Math.max(0, components - MOST_COMPONENTS);
}

/** The index of a component that counts column by column; indices count from 0, as NumPy's do. */
function indexOf(component: number, shape: readonly number[]): number[] {
  let rest = component;
  return shape.map((length) => {
    const index = rest % length;
    rest = Math.floor(rest / length);
    return index;
  });
}
