// Which plot shows which signal. What is shown is the store's; where it is shown is this window's,
// and stands in its address.

/** Ids of signals by plot, from top to bottom. There is at least one plot. */
export interface Layout {
  readonly plots: readonly (readonly number[])[];
  /** The plot that a signal without a better place goes to. */
  readonly active: number;
}

export const EMPTY: Layout = { plots: [[]], active: 0 };

/** Signals of a new unit get a plot of their own up to this number of plots. */
const MOST_AUTOMATIC = 4;

/**
 * The layout that shows these signals and no others: a new signal goes to an empty active plot, else to a plot
 * of its unit, the active one first, else to a new plot. Plots that lose their last signal go.
 */
export function settled(
  layout: Layout, shown: readonly number[], unitOf: (id: number) => string | null,
): Layout {
  const wanted = new Set(shown);
  let plots: number[][] = layout.plots.map((ids) => ids.filter((id) => wanted.has(id)));
  const active = layout.plots[layout.active];
  const kept = plots.filter((ids, place) => ids.length > 0 || layout.plots[place]!.length === 0);
  let activePlace = kept.findIndex((ids) => plots.indexOf(ids) === layout.active);
  plots = kept.length > 0 ? kept : [[]];
  if (activePlace < 0) activePlace = active === undefined ? 0 : Math.min(layout.active, plots.length - 1);
  const there = new Set(plots.flat());
  const isOfUnit = (ids: readonly number[], unit: string | null): boolean => ids.some((id) => unitOf(id) === unit);
  for (const id of shown) {
    if (there.has(id)) continue;
    const unit = unitOf(id);
    const inActive = plots[activePlace]!;
    if (inActive.length === 0 || isOfUnit(inActive, unit)) {
      inActive.push(id);
      continue;
    }
    const same = plots.find((ids) => isOfUnit(ids, unit));
    if (same !== undefined) same.push(id);
    else if (plots.length < MOST_AUTOMATIC) plots.push([id]);
    else inActive.push(id);
  }
  return { plots, active: activePlace };
}

/** A signal in another plot. A place beyond either end makes a new plot there; an empty plot goes. */
export function moved(layout: Layout, id: number, to: number): Layout {
  const from = layout.plots.findIndex((ids) => ids.includes(id));
  const isAlone = layout.plots[from]?.length === 1;
  const isOutside = to < 0 || to >= layout.plots.length;
  if (from < 0 || to === from || (isAlone && isOutside)) return layout;
  const plots = layout.plots.map((ids) => ids.filter((one) => one !== id));
  if (to < 0) plots.unshift([id]);
  else if (to >= plots.length) plots.push([id]);
  else plots[to]!.push(id);
  const left = plots.filter((ids, place) => ids.length > 0 || place !== from + (to < 0 ? 1 : 0));
  const active = left.findIndex((ids) => ids.includes(id));
  return { plots: left, active };
}

/** A new, empty plot below the others, which is the active one. */
export function added(layout: Layout): Layout {
  const empty = layout.plots.findIndex((ids) => ids.length === 0);
  if (empty >= 0) return { ...layout, active: empty };
  return { plots: [...layout.plots, []], active: layout.plots.length };
}

/** Without the plot at this place; its signals are to be hidden. */
export function removed(layout: Layout, place: number): Layout {
  const plots = layout.plots.filter((_, at) => at !== place);
  if (plots.length === 0) return EMPTY;
  const active = layout.active > place ? layout.active - 1 : layout.active;
  return { plots, active: Math.min(active, plots.length - 1) };
}

export function activated(layout: Layout, place: number): Layout {
  return place === layout.active ? layout : { ...layout, active: place };
}

/** The place of the plot of a signal; null for one that is not shown. */
export function plotOf(layout: Layout, id: number): number | null {
  const place = layout.plots.findIndex((ids) => ids.includes(id));
  return place < 0 ? null : place;
}

/** As the address holds it: "1.2~3" are two plots. */
export function writeLayout({ plots }: Layout): string {
  return plots.map((ids) => ids.join(".")).join("~");
}

/** Reads what writeLayout wrote; anything else is ignored. */
export function readLayout(text: string): Layout {
  if (!/^[\d.~]+$/.test(text)) return EMPTY;
  const seen = new Set<number>();
  const plots = text.split("~").map((part) =>
    part
      .split(".")
      .map(Number)
      .filter((id) => Number.isSafeInteger(id) && id > 0 && !seen.has(id) && seen.add(id)),
  );
  return { plots, active: 0 };
}

export function sameLayout(a: Layout, b: Layout): boolean {
  return a.active === b.active && writeLayout(a) === writeLayout(b) && a.plots.length === b.plots.length;
}
