// The state of the store as the views read it. A view is never changed: a patch makes another one,
// which shares the columns that the patch leaves alone.

import type {
  Run, RunPatch, SignalChange, SignalColumns, SignalPatch, StoreState, Sync, Tolerance,
} from "../data/source";

type Tables = Pick<StoreState, "tolerances" | "syncs">;

export class StoreView {
  private constructor(
    readonly state: StoreState,
    private readonly places: ReadonlyMap<number, number>,
    private readonly runs: ReadonlyMap<number, Run>,
  ) {}

  static of(state: StoreState): StoreView {
    return new StoreView(state, placesOf(state.signals.id), runsOf(state.runs));
  }

  get signals(): SignalColumns {
    return this.state.signals;
  }

  /** The place of a signal in the columns; null for one that is not there. */
  place(id: number): number | null {
    return this.places.get(id) ?? null;
  }

  run(id: number): Run | null {
    return this.runs.get(id) ?? null;
  }

  tolerance(place: number): Tolerance {
    return this.state.tolerances[this.signals.tolerance[place]!]!;
  }

  sync(place: number): Sync {
    return this.state.syncs[this.signals.sync[place]!]!;
  }

  /** Null for a run without signals. */
  runTolerance(run: Run): Tolerance | null {
    return run.tolerance === null ? null : (this.state.tolerances[run.tolerance] ?? null);
  }

  runSync(run: Run): Sync | null {
    return run.sync === null ? null : (this.state.syncs[run.sync] ?? null);
  }

  /** The ids of the signals that are ticked, in the order of the store. */
  visible(): number[] {
    const { id, visible } = this.signals;
    return id.filter((_, place) => visible[place]);
  }

  /**
   * The view with these changes; itself if they change nothing. Signals and runs that are not there
   * are left out: they went, and the event that says so is on its way.
   */
  patched(signals: readonly SignalPatch[], runs: readonly RunPatch[], revision: number): StoreView {
    const tables = { tolerances: [...this.state.tolerances], syncs: [...this.state.syncs] };
    const columns = this.patchedSignals(signals, tables);
    const list = patchedRuns(this.state.runs, runs, tables);
    if (columns === this.signals && list === this.state.runs) return this;
    const state = { ...this.state, ...tables, revision, signals: columns, runs: list };
    return new StoreView(state, this.places, list === this.state.runs ? this.runs : runsOf(list));
  }

  private patchedSignals(patches: readonly SignalPatch[], tables: Tables): SignalColumns {
    const own = new Map<string, unknown[]>(); // columns that were copied to be changed
    const before = this.signals as unknown as Record<string, unknown[]>;
    for (const patch of patches) {
      const place = this.places.get(patch.id);
      if (place === undefined) continue;
      for (const [name, told] of Object.entries(patch)) {
        const column = own.get(name) ?? before[name];
        const value = placed(name, told, tables);
        if (column === undefined || isSame(column[place], value)) continue;
        if (!own.has(name)) own.set(name, [...column]);
        own.get(name)![place] = value;
      }
    }
    return own.size === 0 ? this.signals : { ...this.signals, ...Object.fromEntries(own) };
  }

  /** What `change` would do to these signals, and what undoes it; settings are left to the server. */
  foreseen(ids: readonly number[], change: SignalChange): { patches: SignalPatch[]; undo: SignalPatch[] } {
    const names = (["visible", "color", "dash"] as const).filter((name) => change[name] !== undefined);
    const there = ids.filter((id) => this.places.has(id));
    const row = (id: number, value: (name: (typeof names)[number], place: number) => unknown): SignalPatch =>
      ({ id, ...Object.fromEntries(names.map((name) => [name, value(name, this.places.get(id)!)])) });
    return {
      patches: there.map((id) => row(id, (name) => change[name])),
      undo: there.map((id) => row(id, (name, place) => this.signals[name][place])),
    };
  }
}

function placesOf(ids: readonly number[]): Map<number, number> {
  return new Map(ids.map((id, place) => [id, place]));
}

function runsOf(runs: readonly Run[]): Map<number, Run> {
  return new Map(runs.map((run) => [run.id, run]));
}

function patchedRuns(runs: Run[], patches: readonly RunPatch[], tables: Tables): Run[] {
  let changed = false;
  const byId = new Map(patches.map((patch) => [patch.id, patch]));
  const list = runs.map((run) => {
    const patch = byId.get(run.id);
    if (patch === undefined) return run;
    const fields = Object.entries(patch).map(([name, told]) => [name, placed(name, told, tables)] as const);
    const before = run as unknown as Record<string, unknown>;
    if (fields.every(([name, value]) => isSame(before[name], value))) return run;
    changed = true;
    return { ...run, ...Object.fromEntries(fields) } as Run;
  });
  return changed ? list : runs;
}

/** Settings come as records: the number of each in its table, where a new one is added. */
function placed(name: string, told: unknown, tables: Tables): unknown {
  if (told === null || typeof told !== "object") return told;
  if (name === "tolerance") return numberOf(tables.tolerances, told as Tolerance);
  if (name === "sync") return numberOf(tables.syncs, told as Sync);
  return told;
}

function numberOf<T extends object>(table: T[], record: T): number {
  const found = table.findIndex((one) => sameRecord(one, record));
  return found < 0 ? table.push(record) - 1 : found;
}

function sameRecord(a: object, b: object): boolean {
  const [left, right] = [Object.entries(a), new Map(Object.entries(b))];
  return left.length === right.size && left.every(([name, value]) => Object.is(value, right.get(name)));
}

function isSame(a: unknown, b: unknown): boolean {
  return Object.is(a, b) || (Array.isArray(a) && JSON.stringify(a) === JSON.stringify(b));
}
