// A comparison: summary, table of pairs, and the chosen pair. The address holds what is shown. Reports
// are nothing else; the inspector mounts one beside its other views.

import { STATUSES } from "../data/source";
import type { Comparison, Source, Status, Window } from "../data/source";
import { button, element, fill } from "../dom";
import { numberField } from "../state/address";
import type { Address, Fields } from "../state/address";
import { bindKeys } from "../state/keys";
import type { HotKey } from "../state/keys";
import type { Sorting } from "../table/rows";
import { keysHelp } from "./help";
import { PairView } from "./pair";
import { PairsList } from "./pairs";
import { Separator } from "./separator";
import { summaryOf } from "./summary";

const ADDRESS_DELAY = 250; // milliseconds; browsers refuse to change the address more often for long

/** Its fields of the address: pair, component, from, to, filter, status and sort. */
export class ComparisonView {
  readonly element = element("main", "comparison");
  private readonly pair: PairView;
  private pairs: PairsList | null = null;
  readonly help: HTMLDialogElement;
  /** The pair that is shown: so that a change of the address tells what is new. */
  private shown: { index: number | null; component: number | null } = { index: null, component: null };
  private told: Record<string, string> = {};
  private later: ReturnType<typeof setTimeout> | null = null;
  private isTelling = false;

  constructor(
    source: Source,
    private readonly address: Address,
  ) {
    this.pair = new PairView(source, {
      onWindow: (window) => this.tell(windowFields(window)),
      onComponent: (component) => {
        this.shown = { ...this.shown, component };
        this.tell({ component: component === null ? "" : String(component) });
      },
    });
    const keys = this.hotKeys();
    this.help = keysHelp(keys);
    bindKeys(document, keys, () => this.element.getClientRects().length > 0);
    address.fields.watch((fields) => {
      if (!this.isTelling && this.pairs !== null) void this.follow(fields, this.pairs, false);
    });
  }

  /**
   * Shows a comparison; again after it was judged anew. The chosen pair, zoom, filter and order stay as
   * the address has them; the curves of the chosen pair are fetched.
   */
  async show(comparison: Comparison): Promise<void> {
    this.flush();
    this.pairs?.destroy();
    const pairs = new PairsList(comparison);
    this.pairs = pairs;
    this.pair.setComparison(comparison);
    const border = new Separator({ label: "Width of the table of pairs", pane: pairs.element, isLeft: false, property: "--pairs-width" });
    fill(
      this.element,
      summaryOf(comparison),
      element("div", "split", {}, pairs.element, border.element, this.pair.element),
      button("?", "tool help-button", "Keys (?)", () => this.help.showModal()),
      this.help,
    );
    border.restore();
    const followed = this.follow(this.address.fields.get(), pairs, true);
    pairs.chosen.watch((index) => void this.choose(index));
    pairs.filter.watch((filter) => this.tell({ filter }));
    pairs.statuses.watch((statuses) => this.tell({ status: [...statuses].join(",") }));
    pairs.table.sorting.watch((sorting) => this.tell({ sort: sortingText(sorting) }));
    await followed;
  }

  // ---- The address ----

  /** Shows what the address says; without a pair the one that is furthest out. */
  private async follow(fields: Fields, pairs: PairsList, isNew: boolean): Promise<void> {
    const window = windowOf(fields);
    const component = numberField(fields, "component");
    const index = numberField(fields, "pair") ?? pairs.worst;
    const isOther = isNew || index !== this.shown.index || component !== this.shown.component;
    this.shown = { index, component };
    pairs.filter.set(fields["filter"] ?? "");
    pairs.statuses.set(statusesOf(fields["status"] ?? ""));
    pairs.table.sorting.set(sortingOf(fields["sort"] ?? ""));
    pairs.chosen.set(index);
    if (isOther) await this.pair.show(index, component, window);
    else this.pair.plots.setWindow(window);
  }

  /** Shows a pair that was chosen in the table. The window of time stays, to compare what happened then. */
  private async choose(index: number | null): Promise<void> {
    if (index === this.shown.index) return;
    this.shown = { index, component: null };
    this.tell({ pair: index === null ? "" : String(index), component: "" });
    await this.pair.show(index, null, this.pair.plots.window);
  }

  /** Puts fields into the address, after a while in which they may change again. */
  private tell(fields: Fields): void {
    if (this.isTelling) return;
    Object.assign(this.told, fields);
    if (this.later !== null) clearTimeout(this.later);
    this.later = setTimeout(() => this.flush(), ADDRESS_DELAY);
  }

  private flush(): void {
    if (this.later !== null) clearTimeout(this.later);
    this.later = null;
    const fields = this.told;
    this.told = {};
    if (Object.keys(fields).length === 0) return;
    this.isTelling = true;
    // Another pair is a step that the browser's back button undoes; zooming and filtering make none.
    this.address.change(fields, fields["pair"] !== undefined);
    this.isTelling = false;
  }

  // ---- Keys ----

  private hotKeys(): HotKey[] {
    const { pair } = this;
    return [
      { keys: ["/"], help: "filter the pairs", run: () => this.pairs?.focusFilter() },
      { keys: ["j"], help: "next pair", run: () => this.pairs?.table.step(1) },
      { keys: ["k"], help: "previous pair", run: () => this.pairs?.table.step(-1) },
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
  const words = text.split(",");
  return new Set(STATUSES.filter((status) => words.includes(status)));
}

function sortingOf(text: string): Sorting | null {
  if (text === "") return null;
  return text.startsWith("-") ? { column: text.slice(1), descending: true } : { column: text, descending: false };
}

function sortingText(sorting: Sorting | null): string {
  return sorting === null ? "" : (sorting.descending ? "-" : "") + sorting.column;
}
