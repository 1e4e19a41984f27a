// A report: summary, table of pairs, and the chosen pair. The address holds what is shown.

import { STATUSES } from "../data/source";
import type { Comparison, Source, Status, Window } from "../data/source";
import { button, element, fill } from "../dom";
import { Address, numberField } from "../state/address";
import type { Fields } from "../state/address";
import { bindKeys } from "../state/keys";
import type { HotKey } from "../state/keys";
import { shownShort } from "../text/shown";
import { keysHelp } from "./help";
import { PairView } from "./pair";
import { PairsList } from "./pairs";
import { summaryOf } from "./summary";

const ADDRESS_DELAY = 250; // milliseconds; browsers refuse to change the address more often for long

/** Shows the report in `root`, or what went wrong. */
export async function startReport(root: HTMLElement, source: Source): Promise<void> {
  try {
    const comparison = await source.comparison();
    if (comparison === null) throw new Error("this page carries no comparison");
    const report = new Report(root, source, comparison);
    await report.start();
  } catch (error) {
    const text = error instanceof Error ? error.message : String(error);
    fill(root, element("p", "notice", { role: "alert" }, `The report cannot be shown: ${text}`));
  }
}

class Report {
  private readonly pairs: PairsList;
  private readonly pair: PairView;
  private readonly address: Address;
  private readonly help: HTMLDialogElement;
  /** Times and order go into the address a while after they stand. */
  private later: ReturnType<typeof setTimeout> | null = null;

  constructor(
    private readonly root: HTMLElement,
    source: Source,
    private readonly comparison: Comparison,
  ) {
    this.pairs = new PairsList(comparison);
    this.pair = new PairView(source, comparison, { onWindow: (window) => this.tell(windowFields(window)) });
    this.address = new Address(globalThis.window);
    const keys = this.hotKeys();
    this.help = keysHelp(keys);
    bindKeys(document, keys);
  }

  async start(): Promise<void> {
    const { baseline, other } = this.comparison;
    document.title = `${shownShort(baseline.run, 80)} against ${shownShort(other.run, 80)}`;
    const question = button("?", "tool help-button", "Keys (?)", () => this.help.showModal());
    fill(
      this.root,
      summaryOf(this.comparison),
      element("main", "split", {}, this.pairs.element, this.pair.element),
      question,
      this.help,
    );
    this.root.classList.add("report");
    await this.follow(this.address.fields.get());
    this.pairs.chosen.watch((index) => void this.choose(index));
    this.pairs.filter.watch((filter) => this.tell({ filter }));
    this.pairs.statuses.watch((statuses) => this.tell({ status: [...statuses].join(",") }));
    this.pairs.table.sorting.watch((sorting) =>
      this.tell({ sort: sorting === null ? "" : (sorting.descending ? "-" : "") + sorting.column }),
    );
    this.address.fields.watch((fields) => void this.follow(fields));
  }

  /** Shows what the address says; without a pair the one that is furthest out. */
  private async follow(fields: Fields): Promise<void> {
    const { pairs } = this;
    pairs.filter.set(fields["filter"] ?? "");
    pairs.statuses.set(statusesOf(fields["status"] ?? ""));
    pairs.table.sorting.set(sortingOf(fields["sort"] ?? ""));
    const index = numberField(fields, "pair") ?? pairs.worst;
    const isNew = index !== this.shown;
    this.shown = index;
    pairs.chosen.set(index);
    const window = windowOf(fields);
    if (isNew) await this.pair.show(index, window);
    else if (!this.isTelling) this.pair.plots.setWindow(window);
  }

  private shown: number | null = null;
  private isTelling = false;

  private async choose(index: number | null): Promise<void> {
    if (index === this.shown) return;
    this.shown = index;
    this.write({ pair: index === null ? "" : String(index) }, true);
    await this.pair.show(index);
  }

  /** Changes the address by and by. */
  private readonly told: Record<string, string> = {};
  private tell(fields: Fields): void {
    Object.assign(this.told, fields);
    if (this.later !== null) clearTimeout(this.later);
    this.later = setTimeout(() => this.write({}, false), ADDRESS_DELAY);
  }

  private write(fields: Fields, isStep: boolean): void {
    if (this.later !== null) clearTimeout(this.later);
    this.later = null;
    const all = { ...this.told, ...fields };
    for (const name of Object.keys(this.told)) delete this.told[name];
    this.isTelling = true;
    this.address.change(all, isStep);
    this.isTelling = false;
  }

  private hotKeys(): HotKey[] {
    const { pairs, pair } = this;
    return [
      { keys: ["/"], help: "filter the pairs", run: () => pairs.focusFilter() },
      { keys: ["j"], help: "next pair", run: () => pairs.table.step(1) },
      { keys: ["k"], help: "previous pair", run: () => pairs.table.step(-1) },
      { keys: ["w"], help: "worst value", run: () => pair.jumpToWorst() },
      { keys: ["n"], help: "next stretch out", run: () => pair.jump(true) },
      { keys: ["p"], help: "stretch out before", run: () => pair.jump(false) },
      { keys: ["0"], help: "all of the time", run: () => pair.plots.setWindow(null) },
      { keys: ["?"], help: "these keys", run: () => this.help.showModal() },
    ];
  }
}

function windowFields(window: Window | null): Fields {
  return { from: window === null ? "" : String(window.first), to: window === null ? "" : String(window.last) };
}

function windowOf(fields: Fields): Window | null {
  const first = numberField(fields, "from");
  const last = numberField(fields, "to");
  return first === null || last === null || !(first < last) ? null : { first, last };
}

function statusesOf(text: string): Set<Status> {
  return new Set(STATUSES.filter((status) => text.split(",").includes(status)));
}

function sortingOf(text: string): { column: string; descending: boolean } | null {
  if (text === "") return null;
  return text.startsWith("-") ? { column: text.slice(1), descending: true } : { column: text, descending: false };
}
