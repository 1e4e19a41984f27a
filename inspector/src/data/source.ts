// What the page shows, and where it comes from. A report carries a comparison in its own file; the
// inspector asks the server, which answers from the store. Both are a Source, so that one page of
// code shows both.
//
// Records have the names of the JSON that the server and `Comparison.to_dict` write. Numbers are
// numbers here: what JSON writes as "NaN", "Infinity" or "-Infinity" was read back. Times are in the
// units of the recording; where `is_date` holds they are seconds since 1970-01-01 in UTC.

// ---- Comparison ----

export type Status = "within" | "out" | "missing" | "extra" | "incomparable";
export const STATUSES: readonly Status[] = ["out", "missing", "incomparable", "extra", "within"];

/** A real number, or the real and the imaginary part of a complex one. */
export type Value = number | readonly [number, number];

/** All eleven fields of kvr.Tolerance. `type`: 0 constant, 1 window, 2 function. */
export interface Tolerance {
  type: number;
  absolute: number;
  relative: number;
  start: number;
  end: number;
  step: number;
  initial_absolute: number;
  absolute_step: number;
  initial_relative: number;
  relative_step: number;
  function_name: string;
}

/** All five fields of kvr.Sync. `type`: 0 by the method, 1 by the function of that name. */
export interface Sync {
  method: "union" | "intersection" | "uniform";
  interp: "zoh" | "linear";
  interval: number;
  function_name: string;
  type: number;
}

/** Who a signal was when it was compared. */
export interface Identity {
  run: string;
  id: number;
  label: string;
  path: string;
  source: string;
  port: number;
  channel: number[];
}

/** The value furthest out. `component` counts from 0, over the components in the order of NumPy. */
export interface Worst {
  time: number;
  baseline: Value;
  other: Value;
  difference: number;
  tolerance: number;
  component: number;
}

/** Consecutive instants that are out: their first and last time, and how many there are. */
export interface Interval {
  first: number;
  last: number;
  count: number;
}

export type Whose = "own" | "run" | "override";

/** What the comparison of one pair found; docs/comparison.schema.json describes every field. */
export interface Verdict {
  status: Status;
  reason: string | null;
  text: string;
  differs: boolean;
  baseline: Identity | null;
  other: Identity | null;
  tolerance: Tolerance | null;
  tolerance_source: Whose | null;
  sync: Sync | null;
  sync_source: Whose | null;
  instants: number;
  instants_out: number;
  judged: number;
  out: number;
  lost: number;
  gained: number;
  gaps: number;
  outside: number;
  uncovered: number;
  beyond: number;
  first_out: number | null;
  last_out: number | null;
  worst: Worst | null;
  max_difference: number | null;
  max_difference_time: number | null;
  max_relative: number | null;
  max_relative_time: number | null;
  rms: number | null;
  intervals: Interval[];
  intervals_total: number;
}

/** A run that was compared: its file, null for a run of the store. */
export interface ComparedRun {
  file: string | null;
  run: string;
  id: number;
  signals: number;
}

export interface ComparisonOptions {
  match: string | string[];
  coverage: "baseline" | "common";
  time_tolerance: number;
  tolerance: Partial<Tolerance> | null;
  sync: Partial<Sync> | null;
  only: string[];
  ignore: string[];
  strict: boolean;
}

/**
 * `is_date` says of each verdict whether its times are dates. `revision` is the store's when the
 * comparison was made; a report has none.
 */
export interface Comparison {
  version: number;
  passed: boolean;
  counts: Record<Status, number>;
  options: ComparisonOptions;
  baseline: ComparedRun;
  other: ComparedRun;
  warnings: string[];
  verdicts: Verdict[];
  is_date: boolean[];
  revision?: number;
}

// ---- Curves ----

/** Two times; `first` is not after `last`. */
export interface Window {
  first: number;
  last: number;
}

/**
 * Samples of a curve. Times never fall; equal times are an event, where the value jumps. NaN is a
 * gap. `thinned` says that samples between these were left out; those that are here are real ones.
 */
export interface Curve {
  times: Float64Array;
  values: Float64Array;
  thinned: boolean;
}

/** Colour as CSS takes it, dash as the store names it. */
export interface Look {
  color: string;
  dash: Dash;
}
export type Dash = "-" | "--" | ":" | "-.";

/**
 * The curves of one component of a pair. A side that the pair lacks, or whose values cannot be
 * drawn, is null. Curves of complex values are their real parts, with the imaginary ones beside.
 * `difference` is the modulus that was judged, at compared instants, NaN where nothing was judged;
 * `tolerance`, `low` and `high` (baseline minus and plus tolerance) stand on the same instants, all
 * null where nothing was compared.
 */
export interface PairCurves {
  component: number;
  /** The components that can be asked for. */
  components: number[];
  /** How many components a sample has. */
  components_total: number;
  baseline: Curve | null;
  other: Curve | null;
  baseline_imaginary: Curve | null;
  other_imaginary: Curve | null;
  difference: Curve | null;
  tolerance: Curve | null;
  low: Curve | null;
  high: Curve | null;
  /** Null where the store has none; then the page chooses. */
  baseline_look: Look | null;
  other_look: Look | null;
  is_date: boolean;
  unit: string | null;
}

/** `component` null: that of the worst value, else the first; `window` null: all of the time. */
export interface PairRequest {
  component: number | null;
  window: Window | null;
  columns: number;
}

/** What every page can ask for. Promises are rejected with an Error whose message people can read. */
export interface Source {
  /** Null if there is no comparison. */
  comparison(): Promise<Comparison | null>;
  /** The curves of `comparison().verdicts[index]`; null if neither side can be drawn. */
  pair(index: number, request: PairRequest): Promise<PairCurves | null>;
}

// ---- The store, as the server tells it ----

export interface OpenFile {
  path: string;
  state: "same" | "changed" | "gone";
}

/** `tolerance` and `sync` count from 0 in the tables of the state; null without signals. */
export interface Run {
  id: number;
  name: string;
  instance: number | null;
  /** Of what made it. */
  version: string;
  /** Null if the store's number is no date. */
  created: string | null;
  signals: number[];
  tolerance: number | null;
  sync: number | null;
}

/** The signals as columns of one length; `tolerance` and `sync` as in Run. */
export interface SignalColumns {
  id: number[];
  run: number[];
  label: string[];
  path: string[];
  model: string[];
  source: string[];
  root_source: string[];
  time_source: string[];
  port: number[];
  channel: number[][];
  sid: string[];
  unit: (string | null)[];
  parent: (number | null)[];
  class: string[];
  samples: number[];
  /** Of one sample. */
  shape: number[][];
  start: (number | null)[];
  end: (number | null)[];
  /** "#rrggbb". */
  color: string[];
  dash: Dash[];
  visible: boolean[];
  tolerance: number[];
  tolerance_inherited: boolean[];
  sync: number[];
  sync_inherited: boolean[];
  is_date: boolean[];
  /** False for texts and other values without a curve. */
  drawable: boolean[];
}

export interface StoreState {
  revision: number;
  version: string;
  files: OpenFile[];
  runs: Run[];
  signals: SignalColumns;
  tolerances: Tolerance[];
  syncs: Sync[];
}

/** `of`: "ID", "ID.K" for component K (column-major, from 0), with "i" at the end its imaginary part. */
export interface CurveRequest {
  of: string[];
  window: Window | null;
  columns: number;
}

/** The sample in force at a time: the last at or before it. */
export interface Reading {
  index: number;
  time: number;
  value: Value;
  next: { index: number; time: number; value: Value } | null;
}

/** Fields left out stay as they are; null returns to the run's settings. */
export interface SignalChange {
  visible?: boolean;
  color?: string;
  dash?: Dash;
  tolerance?: Partial<Tolerance> | null;
  sync?: Partial<Sync> | null;
}

export interface RunChange {
  name?: string;
  created?: string;
  tolerance?: Partial<Tolerance>;
  sync?: Partial<Sync>;
}

export interface ComparisonRequest {
  baseline: number;
  other: number;
  options: Partial<ComparisonOptions>;
}

/** A signal in a patch: its id, the columns that changed, and settings as records. */
export type SignalPatch = { id: number } & Partial<{
  [Name in keyof SignalColumns]: Name extends "tolerance"
    ? Tolerance
    : Name extends "sync"
      ? Sync
      : SignalColumns[Name][number];
}>;
export type RunPatch = { id: number } & Partial<
  Omit<Run, "id" | "tolerance" | "sync"> & { tolerance: Tolerance | null; sync: Sync | null }
>;

/** What the server tells without being asked. */
export type StoreEvent =
  /** The first event of a stream: the revision that the store has now. */
  | { kind: "hello"; revision: number }
  | { kind: "patch"; revision: number; signals: SignalPatch[]; runs: RunPatch[] }
  | { kind: "reload"; revision: number }
  | { kind: "comparison"; revision: number }
  | { kind: "files"; files: OpenFile[] };

/** The inspector's source: reads, changes and compares what is in the store. */
export interface StoreSource extends Source {
  state(): Promise<StoreState>;
  /** One curve for each of `request.of`, in their order. */
  curves(request: CurveRequest): Promise<Curve[]>;
  /** For each of `of` one reading a time; null where there is no sample at or before it. */
  readings(of: string[], at: number[]): Promise<(Reading | null)[][]>;
  /** Each change returns the revision that it led to. */
  changeSignals(ids: number[], change: SignalChange): Promise<number>;
  changeRun(id: number, change: RunChange): Promise<number>;
  /** Returns the id of the copy. */
  copyRun(id: number, instance: number | null): Promise<number>;
  removeRun(id: number): Promise<number>;
  removeSignal(id: number): Promise<number>;
  compare(request: ComparisonRequest): Promise<Comparison>;
  dropComparison(): Promise<number>;
  /** The returned function ends the listening. */
  listen(heard: (event: StoreEvent) => void): () => void;
  /** Addresses that the browser downloads from. */
  recordingAddress(runs: number[]): string;
  csvAddress(run: number): string;
  reportAddress(): string;
}
