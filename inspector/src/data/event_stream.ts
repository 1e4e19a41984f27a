// Server-sent events, read from a stream that fetch opened. The browser's own EventSource does not
// say why it was refused, and does not notice a server that stopped without closing its socket.

import { readSync, readTolerance } from "./numbers";
import type { StoreEvent } from "./source";

/** Takes a stream of text apart into events, whatever its pieces are. */
export class EventReader {
  private rest = "";
  private kind = "";
  private data: string[] = [];

  constructor(private readonly heard: (kind: string, data: string) => void) {}

  push(text: string): void {
    const lines = (this.rest + text).split(/\r\n|\n|\r(?!$)/);
    this.rest = lines.pop() ?? "";
    for (const line of lines) this.line(line);
  }

  private line(line: string): void {
    if (line === "") {
      if (this.data.length > 0) this.heard(this.kind || "message", this.data.join("\n"));
      this.kind = "";
      this.data = [];
      return;
    }
    const [, name = "", value = ""] = /^([^:]*)(?:: ?(.*))?$/s.exec(line) ?? [];
    if (name === "event") this.kind = value;
    else if (name === "data") this.data.push(value);
  }
}

/** The event of this kind with this JSON; null for one that this page does not know. */
export function storeEvent(kind: string, data: string): StoreEvent | null {
  const parsed: unknown = JSON.parse(data);
  if (kind === "files" && Array.isArray(parsed)) return { kind, files: parsed };
  const known = ["hello", "patch", "reload", "comparison"];
  if (!known.includes(kind) || typeof parsed !== "object" || parsed === null) return null;
  if (kind !== "patch") return { ...parsed, kind } as StoreEvent;
  const { revision, signals, runs } = parsed as Record<string, Record<string, unknown>[]>;
  return { kind, revision, signals: signals?.map(readPatch), runs: runs?.map(readPatch) } as unknown as StoreEvent;
}

function readPatch(patch: Record<string, unknown>): Record<string, unknown> {
  const read = { ...patch };
  if ("tolerance" in patch) read["tolerance"] = readTolerance(patch["tolerance"]);
  if ("sync" in patch) read["sync"] = readSync(patch["sync"]);
  return read;
}

/**
 * How the page stands to its server. "gone": it does not answer; it is asked again and again.
 * "refused": it answers, but not to this browser, and only a new address helps.
 */
export type Connection =
  | { state: "connecting" | "here" | "gone" }
  | { state: "refused"; reason: string };

export interface StreamHooks {
  heard: (event: StoreEvent) => void;
  connection: (connection: Connection) => void;
}

export interface StreamOptions {
  /** Milliseconds from a failure to the next attempt. */
  retry: number;
  /** Milliseconds without a byte after which the server counts as gone; it sends one every 15 s. */
  silence: number;
}

/** Listens to an address until the returned function is called. */
export function listenTo(address: string, hooks: StreamHooks, options: StreamOptions): () => void {
  const ending = new AbortController();
  void (async () => {
    while (!ending.signal.aborted) {
      const connection = await follow(address, hooks, options, ending.signal);
      if (ending.signal.aborted) return;
      hooks.connection(connection);
      await pause(options.retry);
    }
  })();
  return () => ending.abort();
}

/** Follows one stream to its end, and returns how the server stands then. */
async function follow(
  address: string, hooks: StreamHooks, options: StreamOptions, ended: AbortSignal,
): Promise<Connection> {
  const abort = new AbortController();
  let stream: ReadableStreamDefaultReader<string> | null = null;
  const end = (): void => {
    abort.abort();
    stream?.cancel().catch(() => undefined);
  };
  ended.addEventListener("abort", end);
  let silence = setTimeout(end, options.silence);
  try {
    const answer = await fetch(address, { signal: abort.signal, cache: "no-store" });
    if (answer.status === 401 || answer.status === 403) return { state: "refused", reason: await reasonOf(answer) };
    if (!answer.ok || answer.body === null) return { state: "gone" };
    hooks.connection({ state: "here" });
    const reader = new EventReader((kind, data) => {
      const event = storeEvent(kind, data);
      if (event !== null) hooks.heard(event);
    });
    stream = answer.body.pipeThrough(new TextDecoderStream()).getReader();
    for (;;) {
      const { done, value } = await stream.read();
      if (done) return { state: "gone" };
      clearTimeout(silence);
      silence = setTimeout(end, options.silence);
      reader.push(value);
    }
  } catch {
    return { state: "gone" };
  } finally {
    clearTimeout(silence);
    ended.removeEventListener("abort", end);
    end();
  }
}

/** What an answer that refuses says. */
export async function reasonOf(answer: Response): Promise<string> {
  try {
    const told = (await answer.json()) as { error?: unknown };
    if (typeof told.error === "string") return told.error;
  } catch {
    // not in the server's form, such as that of a proxy between
  }
  return `the server answered ${answer.status} ${answer.statusText}`.trim();
}

function pause(milliseconds: number): Promise<void> {
  return new Promise((over) => void setTimeout(over, milliseconds));
}
