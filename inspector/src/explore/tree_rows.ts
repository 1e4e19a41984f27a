// Which rows the list of signals has: pure functions over the columns of the store.

import type { StoreView } from "./store_view";

/** A column that signals are grouped by. */
export type GroupColumn = "run" | "path" | "source" | "label" | "model";

/** `run` is the run that the group is, null in groups of other columns. `places`: of its signals. */
export interface TreeGroup {
  key: string;
  name: string;
  run: number | null;
  places: number[];
}

/** A signal by its place in the columns, a group by -1 minus its place in the list of groups. */
export type TreeRow = number;

export function groupOfRow(row: TreeRow): number {
  return -1 - row;
}

/**
 * The groups of a column: names in the order of their bytes, runs in that of their creation. Signals
 * have the order of the store. Runs that share a name are groups of their own.
 */
export function treeGroups(view: StoreView, by: GroupColumn, descending: boolean): TreeGroup[] {
  const groups = by === "run" ? runGroups(view) : namedGroups(view.signals[by]);
  return descending ? groups.reverse() : groups;
}

function runGroups(view: StoreView): TreeGroup[] {
  const groups = view.state.runs.map(({ id, name }): TreeGroup => ({ key: `run ${id}`, name, run: id, places: [] }));
  const byRun = new Map(groups.map((group) => [group.run, group]));
  view.signals.run.forEach((run, place) => byRun.get(run)?.places.push(place));
  return groups;
}

function namedGroups(names: readonly string[]): TreeGroup[] {
  const places = new Map<string, number[]>();
  names.forEach((name, place) => {
    const group = places.get(name);
    if (group === undefined) places.set(name, [place]);
    else group.push(place);
  });
  const sorted = [...places.keys()].sort(compareBytes);
  return sorted.map((name) => ({ key: name, name, run: null, places: places.get(name)! }));
}

const PAIRS = /[\ud800-\udfff]/;

/** The order of the bytes in UTF-8, which is that of the characters' numbers. */
export function compareBytes(a: string, b: string): number {
  if (a === b) return 0;
  if (!PAIRS.test(a) && !PAIRS.test(b)) return a < b ? -1 : 1;
  const [left, right] = [[...a], [...b]];
  const place = left.findIndex((character, at) => character !== right[at]);
  if (place < 0) return -1; // b goes on
  return left[place]!.codePointAt(0)! - (right[place]?.codePointAt(0) ?? -1);
}

/**
 * The rows from top to bottom. `matches` has a 1 for each signal that is searched for, null without a
 * search: groups without a match are left out then.
 */
export function treeRows(
  groups: readonly TreeGroup[],
  closed: ReadonlySet<string>,
  matches: Uint8Array | null,
): TreeRow[] {
  const rows: TreeRow[] = [];
  groups.forEach(({ key, places }, number) => {
    const shown = matches === null ? places : places.filter((place) => matches[place] === 1);
    if (matches !== null && shown.length === 0) return;
    rows.push(-1 - number);
    if (closed.has(key)) return;
    for (const place of shown) rows.push(place);
  });
  return rows;
}

/** The places that a search found, as treeRows takes them. */
export function marked(found: readonly number[], count: number): Uint8Array {
  const marks = new Uint8Array(count);
  for (const place of found) marks[place] = 1;
  return marks;
}

export type Tick = "true" | "false" | "mixed";

/** Whether all, none or some of the signals are shown; as aria-checked says it. */
export function tickOf(places: readonly number[], visible: readonly boolean[]): Tick {
  const first = visible[places[0] ?? -1] ?? false;
  return places.some((place) => visible[place] !== first) ? "mixed" : first ? "true" : "false";
}

/** The rank of the group that a row is in; of a group's row its own. */
export function groupRank(rows: readonly TreeRow[], rank: number): number {
  let at = rank;
  while (at > 0 && rows[at]! >= 0) at--;
  return at;
}

/** The rank of the next row, after `from` and round to it, whose text begins with what was typed. */
export function rankOfTyped(
  rows: readonly TreeRow[], from: number, typed: string, textOf: (row: TreeRow) => string,
): number | null {
  const wanted = typed.toLowerCase();
  // Typing on stays at a row that still fits; a first letter leaves it.
  const start = typed.length > 1 ? 0 : 1;
  for (let step = start; step < rows.length + start; step++) {
    const rank = (from + step) % rows.length;
    if (textOf(rows[rank]!).toLowerCase().startsWith(wanted)) return rank;
  }
  return null;
}
