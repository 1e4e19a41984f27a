// The pairs of a campaign as the page carries them, and the columns of their table.

import type { EmbeddedData } from "../data/embedded";
import { readNumber, readNumberOrNull } from "../data/numbers";
import { element } from "../dom";
import type { Column } from "../table/table";
import { countText, shortNumber } from "../text/numbers";
import { shownShort } from "../text/shown";

/** The worst first. "differs", "error" and "missing" fail. */
export const STATUSES = ["differs", "error", "missing", "nothing", "extra", "passed"] as const;
export type PairStatus = (typeof STATUSES)[number];

export const MARKS: Readonly<Record<PairStatus, string>> = {
  differs: "✕",
  error: "!",
  missing: "−",
  nothing: "?",
  extra: "+",
  passed: "✓",
};

/** Columns are arrays of one length; numbers that JSON cannot write are texts. */
export interface CampaignData extends EmbeddedData {
  title: string;
  /** When the page was written, ISO 8601 in UTC. */
  made: string;
  options: Record<string, unknown>;
  counts: Partial<Record<PairStatus, number>>;
  signals: Record<string, number>;
  columns: {
    status: PairStatus[];
    baseline: string[];
    other: string[];
    what: string[];
    excess: unknown[];
    first_out: unknown[];
    failed: number[];
    compared: number[];
    seconds: number[];
    report: (string | null)[];
  };
}

export interface CampaignRow {
  status: PairStatus;
  baseline: string;
  other: string;
  /** `other` without the folders that all pairs share. */
  name: string;
  what: string;
  /** NaN for a lost value, Infinity for an infinite difference, null where nothing is out. */
  excess: number | null;
  failed: number;
  compared: number;
  seconds: number;
  report: string | null;
}

const LONGEST_NAME = 300;

/** The rows in the order of the data, which is the worst first. */
export function rowsOf({ columns }: CampaignData): CampaignRow[] {
  const shared = sharedFolder(columns.other).length;
  return columns.status.map((status, place) => ({
    status,
    baseline: columns.baseline[place] ?? "",
    other: columns.other[place] ?? "",
    name: (columns.other[place] ?? "").slice(shared),
    what: columns.what[place] ?? "",
    excess: readNumberOrNull(columns.excess[place]),
    failed: columns.failed[place] ?? 0,
    compared: columns.compared[place] ?? 0,
    seconds: readNumber(columns.seconds[place]),
    report: columns.report[place] ?? null,
  }));
}

/** The folders that all of the paths begin with, and their last "/"; "" without any. */
export function sharedFolder(paths: readonly string[]): string {
  let [shared = ""] = paths;
  shared = shared.slice(0, shared.lastIndexOf("/") + 1);
  for (const path of paths) {
    while (!path.startsWith(shared)) shared = shared.slice(0, shared.slice(0, -1).lastIndexOf("/") + 1);
  }
  return shared;
}

/** What a row is searched in: names in their beginning, for they may be of any length. */
export function searchText(row: CampaignRow): string {
  return [row.baseline, row.other, row.status, row.what].map((text) => text.slice(0, 1000)).join("\n");
}

export function excessText(excess: number | null): string {
  if (excess === null) return "";
  if (Number.isNaN(excess)) return "lost";
  return excess === Infinity ? "infinite" : shortNumber(excess, 5);
}

export const COLUMNS: Column<CampaignRow>[] = [
  {
    key: "status", title: "status", width: "7em", hint: "Whether the pair passed",
    cell: ({ status }) => element("span", `status ${CLASSES[status]}`, {}, `${MARKS[status]} ${status}`),
    sortKey: ({ status }) => STATUSES.indexOf(status),
  },
  {
    key: "pair", title: "pair", width: "minmax(12em, 2fr)", hint: "The file that was judged; its report if it fails",
    cell: (row) => named(row), sortKey: ({ name }) => name,
  },
  {
    key: "excess", title: "excess", width: "6em", align: "right", descendingFirst: true,
    hint: "How far the worst value is beyond its tolerance",
    cell: ({ excess }) => excessText(excess), sortKey: ({ excess }) => (Number.isNaN(excess) ? Infinity : excess),
  },
  {
    key: "failed", title: "failed", width: "5em", align: "right", descendingFirst: true, hint: "Signals that fail",
    cell: ({ failed }) => (failed === 0 ? "" : countText(failed)), sortKey: ({ failed }) => failed,
  },
  {
    key: "compared", title: "compared", width: "6em", align: "right", descendingFirst: true, hint: "Signals that were compared",
    cell: ({ compared }) => countText(compared), sortKey: ({ compared }) => compared,
  },
  {
    key: "what", title: "what", width: "minmax(12em, 4fr)", hint: "The error, or the worst signal",
    cell: ({ what }) => element("bdi", "muted", {}, shownShort(what, LONGEST_NAME)), sortKey: ({ what }) => what,
  },
  {
    key: "seconds", title: "seconds", width: "6em", align: "right", descendingFirst: true, hint: "How long comparing took",
    cell: ({ seconds }) => shortNumber(seconds, 3), sortKey: ({ seconds }) => seconds,
  },
];

/** The statuses of signals have their colours already. */
export const CLASSES: Readonly<Record<PairStatus, string>> = {
  differs: "out",
  error: "out",
  missing: "missing",
  nothing: "incomparable",
  extra: "extra",
  passed: "within",
};

function named(row: CampaignRow): HTMLElement {
  const text = element("bdi", "", { title: shownShort(`${row.other} against ${row.baseline}`, 2 * LONGEST_NAME) }, shownShort(row.name, LONGEST_NAME));
  return row.report === null ? text : element("a", "report-link", { href: row.report, tabindex: -1 }, text);
}
