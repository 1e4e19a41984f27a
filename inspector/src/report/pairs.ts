// The pairs of a comparison: a table that can be sorted, with a filter box and a switch for each status.

import { STATUSES } from "../data/source";
import type { Comparison, Status, Verdict } from "../data/source";
import { element, fill } from "../dom";
import { Atom } from "../state/atom";
import { SearchTexts } from "../table/rows";
import { Table } from "../table/table";
import type { Column } from "../table/table";
import { timeText } from "../text/dates";
import { countText, shortNumber } from "../text/numbers";
import { shownShort } from "../text/shown";
import { MARKS, excess, excessText, fails, worstFirst } from "./ranking";

/** A verdict and its place in the comparison. */
export interface PairRow {
  index: number;
  verdict: Verdict;
  isDate: boolean;
}

const LONGEST_NAME = 200;
/** Later words of the table sort after these, so that what fails comes first. */
const STATUS_ORDER = new Map(STATUSES.map((status, place) => [status, place]));

export class PairsList {
  readonly element: HTMLElement;
  /** The index of the chosen verdict. */
  readonly chosen = new Atom<number | null>(null);
  readonly filter = new Atom("");
  /** The statuses that are shown; all of them if none is switched on. */
  readonly statuses = new Atom<ReadonlySet<Status>>(new Set());
  readonly table: Table<PairRow>;
  private readonly rows: PairRow[];
  private readonly texts: SearchTexts;
  private readonly switches = new Map<Status, HTMLButtonElement>();
  private readonly box: HTMLInputElement;
  private readonly found = element("span", "muted found", { role: "status" });

  constructor(private readonly comparison: Comparison) {
    const { verdicts, is_date } = comparison;
    this.rows = worstFirst(comparison).map((index) => ({
      index,
      verdict: verdicts[index]!,
      isDate: is_date[index] ?? false,
    }));
    this.texts = new SearchTexts(this.rows.map(({ verdict }) => searchText(verdict)));
    this.table = new Table<PairRow>({
      label: "Pairs",
      columns: columns(this.rows, comparison.options.strict),
      rowClass: ({ verdict }) => `row-${verdict.status}${fails(verdict, comparison.options.strict) ? " failing" : ""}`,
      empty: "No pair matches the filter.",
    });
    this.box = element("input", "filter", {
      type: "search", placeholder: "Filter pairs ( / )", "aria-label": "Filter pairs",
      title: 'Words that label, path, source or reason have; -word: not this one; "two words"',
      spellcheck: "false", autocomplete: "off",
    });
    this.box.addEventListener("input", () => this.filter.set(this.box.value));
    this.box.addEventListener("keydown", (event) => this.leaveBox(event));
    this.element = element("section", "pairs", { "aria-label": "Pairs" },
      element("div", "pairs-tools", {}, this.box, this.statusSwitches(), this.found), this.table.element);
    this.filter.watch((text) => this.refilter(text));
    this.statuses.watch(() => this.refilter(this.filter.get()));
    this.table.active.watch((place) => this.chosen.set(place === null ? null : (this.rows[place]?.index ?? null)));
    this.chosen.watch((index) => this.activate(index));
    this.table.setRows(this.rows);
    this.refilter("");
  }

  /** The verdict that is furthest out, else the first one; null without any. */
  get worst(): number | null {
    return this.rows[0]?.index ?? null;
  }

  /** Puts the text cursor into the filter box. */
  focusFilter(): void {
    this.box.focus();
    this.box.select();
  }

  destroy(): void {
    this.table.destroy();
    this.element.remove();
  }

  private leaveBox(event: KeyboardEvent): void {
    if (event.key === "Escape" && this.box.value !== "") {
      event.preventDefault();
      this.filter.set("");
    } else if (event.key === "ArrowDown" || event.key === "Enter") {
      event.preventDefault();
      this.table.element.focus();
      if (!this.table.shownPlaces.includes(this.table.active.get() ?? -1)) this.table.step(1);
    }
  }

  private activate(index: number | null): void {
    const place = index === null ? null : this.rows.findIndex((row) => row.index === index);
    this.table.active.set(place === -1 ? null : place);
    this.table.reveal();
  }

  // ---- Filter ----

  private statusSwitches(): HTMLElement {
    const { counts } = this.comparison;
    const made = STATUSES.filter((status) => counts[status] > 0).map((status) => {
      const press = element("button", `chip ${status}`, { type: "button", "aria-pressed": "false", title: `Show ${status} pairs` },
        element("span", "mark", { "aria-hidden": "true" }, MARKS[status]), ` ${status} `, element("b", "", {}, countText(counts[status])));
      press.addEventListener("click", () => this.toggle(status));
      this.switches.set(status, press);
      return press;
    });
    return element("div", "chips", { role: "group", "aria-label": "Statuses" }, ...made);
  }

  private toggle(status: Status): void {
    const next = new Set(this.statuses.get());
    if (!next.delete(status)) next.add(status);
    this.statuses.set(next);
  }

  private refilter(text: string): void {
    if (this.box.value !== text) this.box.value = text;
    const wanted = this.statuses.get();
    for (const [status, press] of this.switches) press.setAttribute("aria-pressed", String(wanted.has(status)));
    const places = this.texts
      .matching(text)
      .filter((place) => wanted.size === 0 || wanted.has(this.rows[place]!.verdict.status));
    this.table.choose(places);
    const all = places.length === this.rows.length;
    fill(this.found, all ? "" : `${countText(places.length)} of ${countText(this.rows.length)}`);
  }
}

function searchText(verdict: Verdict): string {
  const sides = [verdict.baseline, verdict.other].filter((side) => side !== null);
  // A name of a megabyte is searched in its beginning.
  const names = sides.flatMap(({ label, path, source }) => [label, path, source]).map((name) => name.slice(0, 1000));
  return [...new Set([...names, verdict.status, verdict.reason ?? ""])].join("\n");
}

/** A width that the texts of the first rows fit into; those that fail are the first. */
function widthFor(rows: readonly PairRow[], text: (row: PairRow) => string): string {
  const longest = Math.max(7, ...rows.slice(0, 1000).map((row) => text(row).length));
  return `${(Math.min(longest, 28) * 0.62 + 0.4).toFixed(1)}em`;
}

/** A run without paths has no column for them. */
function columns(rows: readonly PairRow[], isStrict: boolean): Column<PairRow>[] {
  const hasPaths = rows.some(({ verdict }) => (verdict.baseline ?? verdict.other)?.path);
  const firstOut = ({ verdict, isDate }: PairRow) => (verdict.first_out === null ? "" : timeText(verdict.first_out, isDate));
  const who = ({ verdict }: PairRow) => verdict.baseline ?? verdict.other;
  const all: Column<PairRow>[] = [
    {
      key: "status", title: "status", width: widthFor(rows, ({ verdict }) => `x ${verdict.status}`), hint: "Whether the pair is within its tolerance",
      cell: ({ verdict }) => element("span", `status ${verdict.status}`, {}, `${MARKS[verdict.status]} ${verdict.status}`),
      sortKey: ({ verdict }) => (STATUS_ORDER.get(verdict.status) ?? 9) + (fails(verdict, isStrict) ? 0 : 0.5),
    },
    {
      key: "excess", title: "excess", width: widthFor(rows, ({ verdict }) => excessText(verdict)), align: "right", descendingFirst: true,
      hint: "How far the worst value is beyond its tolerance",
      cell: ({ verdict }) => excessText(verdict), sortKey: ({ verdict }) => excess(verdict),
    },
    {
      key: "first", title: "first out", width: widthFor(rows, firstOut), align: "right", hint: "Time of the first value out",
      cell: firstOut,
      sortKey: ({ verdict }) => verdict.first_out,
    },
    {
      key: "out", title: "out", width: "4.2em", align: "right", descendingFirst: true, hint: "Part of the judged values that is out",
      cell: ({ verdict }) => partText(verdict), sortKey: ({ verdict }) => (verdict.out > 0 ? verdict.out / verdict.judged : null),
    },
    {
      key: "label", title: "label", width: "minmax(7em, 2fr)",
      cell: (row) => element("bdi", "", {}, shownShort(who(row)?.label ?? "", LONGEST_NAME)), sortKey: (row) => who(row)?.label ?? "",
    },
    {
      key: "path", title: "path", width: "minmax(7em, 3fr)",
      cell: (row) => element("bdi", "muted", {}, shownShort(who(row)?.path ?? "", LONGEST_NAME)), sortKey: (row) => who(row)?.path ?? "",
    },
    {
      key: "difference", title: "largest diff.", width: "6.5em", align: "right", descendingFirst: true,
      hint: "Largest finite difference, whether it is within the tolerance or not",
      cell: ({ verdict }) => (verdict.max_difference === null ? "" : shortNumber(verdict.max_difference, 5)),
      sortKey: ({ verdict }) => verdict.max_difference,
    },
  ];
  return hasPaths ? all : all.filter(({ key }) => key !== "path");
}

/** The part of the values that is out, in per cent: never 0 % if one is, nor 100 % if one is not. */
export function partText({ out, judged }: Pick<Verdict, "out" | "judged">): string {
  if (out === 0 || judged === 0) return "";
  const part = (100 * out) / judged;
  if (out < judged && part > 99.9) return ">99.9 %";
  return part < 0.1 ? "<0.1 %" : `${part < 10 ? part.toFixed(1) : Math.floor(part)} %`;
}
