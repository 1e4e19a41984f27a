// The server of `kvr view` as a source of data: the requests that docs/inspector.md lists.

import { readBlocks } from "./blocks";
import { listenTo, reasonOf } from "./event_stream";
import type { Connection } from "./event_stream";
import { readComparison, readNumber, readSync, readTolerance, readValue } from "./numbers";
import { componentsOf, lookOf } from "./pair_facts";
import type {
  Comparison, ComparisonRequest, Curve, CurveRequest, PairCurves, PairRequest, Reading, RunChange,
  SignalChange, StoreEvent, StoreSource, StoreState, Tolerance, Sync, Window,
} from "./source";

/** The server refused a request: `message` says why, `status` is 0 if it did not answer at all. */
export class ServerError extends Error {
  constructor(message: string, readonly status: number) {
    super(message);
  }
}

const RETRY = 1000;
const SILENCE = 40_000;
/** A request names at most this many curves. */
const MOST_CURVES = 250;

export class ServerSource implements StoreSource {
  /** The newest state, which says what the curves of a pair are curves of. */
  private known: StoreState | null = null;
  private newest: Comparison | null = null;
  /** Changes are sent one after the other, so that the last one made is the last one done. */
  private changes: Promise<unknown> = Promise.resolve();

  async state(): Promise<StoreState> {
    this.known = readState(await this.json("GET", "/api/state"));
    return this.known;
  }

  /** The state that pairs are described by from now on, where the page knows of changes. */
  hold(state: StoreState): void {
    this.known = state;
  }

  async curves({ of, window, columns }: CurveRequest): Promise<Curve[]> {
    const parts: string[][] = [];
    for (let place = 0; place < of.length; place += MOST_CURVES) parts.push(of.slice(place, place + MOST_CURVES));
    const answers = await Promise.all(
      parts.map((part) => this.blocks(`/api/curves?of=${part.join(",")}${windowQuery(window, columns)}`)),
    );
    return answers.flat().map(({ curve }) => curve);
  }

  async readings(of: string[], at: number[]): Promise<(Reading | null)[][]> {
    const told = (await this.json("POST", "/api/readings", { of, at })) as (Json | null)[][];
    return told.map((readings) => readings.map(readReading));
  }

  // ---- Changes ----

  changeSignals(ids: number[], change: SignalChange): Promise<number> {
    return this.change("PATCH", "/api/signals", { ids, ...change });
  }

  changeRun(id: number, change: RunChange): Promise<number> {
    return this.change("PATCH", `/api/runs/${id}`, change);
  }

  async copyRun(id: number, instance: number | null): Promise<number> {
    const told = (await this.inTurn("POST", `/api/runs/${id}/copy`, instance === null ? {} : { instance })) as Json;
    return told["id"] as number;
  }

  removeRun(id: number): Promise<number> {
    return this.change("DELETE", `/api/runs/${id}`);
  }

  removeSignal(id: number): Promise<number> {
    return this.change("DELETE", `/api/signals/${id}`);
  }

  private async change(method: string, address: string, body?: unknown): Promise<number> {
    return ((await this.inTurn(method, address, body)) as { revision: number }).revision;
  }

  private inTurn(method: string, address: string, body?: unknown): Promise<unknown> {
    const done = this.changes.then(() => this.json(method, address, body));
    this.changes = done.catch(() => undefined);
    return done;
  }

  // ---- The comparison ----

  async comparison(): Promise<Comparison | null> {
    try {
      const told = await this.json("GET", "/api/comparison");
      this.newest = told === null ? null : readComparison(told);
    } catch (error) {
      if (!(error instanceof ServerError && error.status === 404)) throw error;
      this.newest = null;
    }
    return this.newest;
  }

  async compare(request: ComparisonRequest): Promise<Comparison> {
    this.newest = readComparison(await this.inTurn("PUT", "/api/comparison", written(request)));
    return this.newest;
  }

  async dropComparison(): Promise<number> {
    this.newest = null;
    return this.change("DELETE", "/api/comparison");
  }

  async pair(index: number, request: PairRequest): Promise<PairCurves | null> {
    const verdict = this.newest?.verdicts[index];
    if (verdict === undefined) return null;
    const { shape, component: worst } = componentsOf(this.known, verdict);
    const total = shape.reduce((product, length) => product * length, 1);
    const component = Math.min(request.component ?? worst, Math.max(total - 1, 0));
    const query = `?index=${index}&component=${component}${windowQuery(request.window, request.columns)}`;
    const blocks = new Map((await this.blocks(`/api/pair${query}`)).map(({ name, curve }) => [name, curve]));
    const block = (name: string): Curve | null => blocks.get(name) ?? null;
    if (block("baseline") === null && block("other") === null) return null;
    return {
      component,
      components: [...Array(total).keys()],
      components_total: total,
      baseline: block("baseline"),
      other: block("other"),
      baseline_imaginary: block("baseline imaginary"),
      other_imaginary: block("other imaginary"),
      difference: block("difference"),
      tolerance: block("tolerance"),
      low: block("low"),
      high: block("high"),
      ...lookOf(this.known, verdict),
      is_date: this.newest?.is_date[index] ?? false,
    };
  }

  // ---- Listening and downloads ----

  listen(heard: (event: StoreEvent) => void, connection: (connection: Connection) => void = () => undefined): () => void {
    return listenTo("/api/events", { heard, connection }, { retry: RETRY, silence: SILENCE });
  }

  recordingAddress(runs: number[]): string {
    return `/api/export.kvr?runs=${runs.join(",")}`;
  }

  csvAddress(run: number): string {
    return `/api/export.csv?run=${run}`;
  }

  reportAddress(): string {
    return "/api/report.html";
  }

  // ---- Requests ----

  private async json(method: string, address: string, body?: unknown): Promise<unknown> {
    return JSON.parse(await this.request(method, address, body, (answer) => answer.text()));
  }

  private async blocks(address: string): Promise<ReturnType<typeof readBlocks>> {
    return readBlocks(await this.request("GET", address, undefined, (answer) => answer.arrayBuffer()));
  }

  private async request<T>(
    method: string, address: string, body: unknown, read: (answer: Response) => Promise<T>,
  ): Promise<T> {
    const content = body === undefined ? {} : {
      body: JSON.stringify(body, writtenNumber),
      headers: { "Content-Type": "application/json" },
    };
    let refused: ServerError;
    try {
      const answer = await fetch(address, { method, cache: "no-store", ...content });
      if (answer.ok) return await read(answer);
      refused = new ServerError(await reasonOf(answer), answer.status);
    } catch {
      throw new ServerError("the server does not answer; what was not sent is not changed", 0);
    }
    throw refused;
  }
}

type Json = Readonly<Record<string, unknown>>;

function windowQuery(window: Window | null, columns: number): string {
  const ends = window === null ? "" : `&from=${window.first}&to=${window.last}`;
  return `${ends}&columns=${Math.min(Math.max(Math.round(columns), 1), 20_000)}`;
}

/** JSON has no NaN and no infinities: they are sent as their names. */
function writtenNumber(_: string, value: unknown): unknown {
  return typeof value === "number" && !Number.isFinite(value) ? String(value) : value;
}

/** Options that are null are left out. */
function written(request: ComparisonRequest): unknown {
  const given = Object.entries(request.options).filter(([, value]) => value !== null && value !== undefined);
  return { ...request, options: Object.fromEntries(given) };
}

function readReading(told: Json | null): Reading | null {
  if (told === null) return null;
  const sample = (one: Json): { index: number; time: number; value: Reading["value"] } => ({
    index: one["index"] as number,
    time: readNumber(one["time"]),
    value: readValue(one["value"]),
  });
  const next = told["next"] as Json | null;
  return { ...sample(told), next: next === null ? null : sample(next) };
}

function readState(told: unknown): StoreState {
  const state = told as StoreState;
  return {
    ...state,
    tolerances: state.tolerances.map((one) => readTolerance(one) as Tolerance),
    syncs: state.syncs.map((one) => readSync(one) as Sync),
  };
}
