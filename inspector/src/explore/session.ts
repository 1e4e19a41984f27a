// What one window of the inspector shows: the store as the server tells it, and what this window
// made of it. Views watch its atoms; what they do goes through its methods.

import { ServerError } from "../data/server";
import type { ServerSource } from "../data/server";
import type { Connection } from "../data/event_stream";
import type {
  Comparison, ComparisonRequest, OpenFile, RunChange, RunPatch, SignalChange, SignalPatch, StoreEvent,
} from "../data/source";
import { Atom } from "../state/atom";
import { Latest } from "./latest";
import { StoreView } from "./store_view";
import type { GroupColumn } from "./tree_rows";

/** What the panel on the right tells about. */
export type Chosen = { kind: "signal" | "run"; id: number } | null;

export interface Grouping {
  by: GroupColumn;
  descending: boolean;
}

/** What is compared: null if nothing is; `failure` says why there is no comparison though two runs were chosen. */
export interface Compared {
  comparison: Comparison | null;
  failure: string | null;
  isBusy: boolean;
}

const NOTHING_COMPARED: Compared = { comparison: null, failure: null, isBusy: false };

export class Session {
  /** Null until the state was loaded. */
  readonly view = new Atom<StoreView | null>(null);
  readonly grouping = new Atom<Grouping>({ by: "run", descending: false }, sameGrouping);
  readonly chosen = new Atom<Chosen>(null, sameChosen);
  readonly files = new Atom<OpenFile[]>([]);
  readonly connection = new Atom<Connection>({ state: "connecting" });
  readonly compared = new Atom<Compared>(NOTHING_COMPARED);
  /** The newest failure that no field of a form shows; null when it was put away. */
  readonly failure = new Atom<string | null>(null);
  private revision = 0;
  private readonly states = new Latest((error) => this.fail(error));
  private readonly comparisons = new Latest((error) => this.comparisonFailed(error));

  constructor(readonly source: ServerSource) {
    this.view.watch((view) => {
      if (view !== null) source.hold(view.state);
    });
  }

  /** Begins to listen; the state is loaded when the server answers. */
  start(): void {
    this.source.listen(
      (event) => this.heard(event),
      (connection) => this.connection.set(connection),
    );
  }

  // ---- What the server tells ----

  private heard(event: StoreEvent): void {
    switch (event.kind) {
      case "hello":
        if (this.view.get() === null || event.revision !== this.revision) this.load();
        this.loadComparison();
        return;
      case "patch":
        if (event.revision <= this.revision) return;
        this.revision = event.revision;
        return this.apply(event.signals, event.runs);
      case "reload":
        return this.load();
      case "comparison":
        return this.loadComparison();
      case "files":
        return this.files.set(event.files);
    }
  }

  private load(): void {
    this.states.ask(async () => {
      const state = await this.source.state();
      this.revision = state.revision;
      this.files.set(state.files);
      const view = StoreView.of(state);
      const chosen = this.chosen.get();
      if (chosen !== null && !isThere(view, chosen)) this.chosen.set(null);
      this.view.set(view);
    });
  }

  private apply(signals: readonly SignalPatch[], runs: readonly RunPatch[] = []): void {
    this.view.update((view) => view?.patched(signals, runs, this.revision) ?? view);
  }

  /** Shows a failure that no field shows. That the server is gone is said elsewhere. */
  fail(error: unknown): void {
    if (error instanceof ServerError && (error.status === 0 || error.status === 401)) return;
    if (error instanceof ServerError && error.status === 410) this.load();
    this.failure.set(error instanceof Error ? error.message : String(error));
  }

  // ---- Changing the store ----

  /** Changes signals. How they look is shown at once, and again as it was if the server refuses. */
  async change(ids: readonly number[], change: SignalChange): Promise<void> {
    const foreseen = this.view.get()?.foreseen(ids, change);
    if (foreseen === undefined || ids.length === 0) return;
    this.apply(foreseen.patches);
    try {
      await this.source.changeSignals([...ids], change);
    } catch (error) {
      this.apply(foreseen.undo);
      throw error;
    }
  }

  /** The same where no form waits for the answer. */
  changeOrFail(ids: readonly number[], change: SignalChange): void {
    this.change(ids, change).catch((error: unknown) => this.fail(error));
  }

  async changeRun(id: number, change: RunChange): Promise<void> {
    await this.source.changeRun(id, change);
  }

  /** Copies a run and chooses the copy. */
  async copyRun(id: number): Promise<void> {
    const copy = await this.source.copyRun(id, null);
    this.load();
    const end = this.view.watch((view) => {
      if (view?.run(copy) == null) return;
      end();
      this.chosen.set({ kind: "run", id: copy });
    });
  }

  async removeRun(id: number): Promise<void> {
    await this.source.removeRun(id);
  }

  async removeSignal(id: number): Promise<void> {
    await this.source.removeSignal(id);
  }

  // ---- Comparing ----

  compare(request: ComparisonRequest): void {
    this.compared.update((before) => ({ ...before, failure: null, isBusy: true }));
    this.comparisons.ask(async () => {
      this.compared.set({ ...NOTHING_COMPARED, comparison: await this.source.compare(request) });
    });
  }

  private loadComparison(): void {
    this.comparisons.ask(async () => {
      this.compared.set({ ...NOTHING_COMPARED, comparison: await this.source.comparison() });
    });
  }

  endComparison(): void {
    this.comparisons.ask(async () => {
      await this.source.dropComparison();
      this.compared.set(NOTHING_COMPARED);
    });
  }

  private comparisonFailed(error: unknown): void {
    const isGone = error instanceof ServerError && error.status === 0;
    const failure = isGone ? null : error instanceof Error ? error.message : String(error);
    this.compared.update(({ comparison }) => ({ comparison: isGone ? comparison : null, failure, isBusy: false }));
  }
}

function isThere(view: StoreView, chosen: NonNullable<Chosen>): boolean {
  return chosen.kind === "run" ? view.run(chosen.id) !== null : view.place(chosen.id) !== null;
}

function sameGrouping(a: Grouping, b: Grouping): boolean {
  return a.by === b.by && a.descending === b.descending;
}

function sameChosen(a: Chosen, b: Chosen): boolean {
  return a === b || (a !== null && b !== null && a.kind === b.kind && a.id === b.id);
}
