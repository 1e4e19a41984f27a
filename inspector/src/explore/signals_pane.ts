// The left side: the signals in groups, a search, and ticks that show signals.

import { button, element } from "../dom";
import { Atom } from "../state/atom";
import { SearchTexts } from "../table/rows";
import { countText, counted } from "../text/numbers";
import { shownShort } from "../text/shown";
import type { Session } from "./session";
import type { StoreView } from "./store_view";
import { seenColor, swatch } from "./swatch";
import { Tree } from "./tree";
import { groupOfRow, marked, tickOf, treeGroups, treeRows } from "./tree_rows";
import type { GroupColumn, Tick, TreeGroup, TreeRow } from "./tree_rows";

const COLUMNS: readonly [GroupColumn, string][] = [
  ["run", "run"], ["path", "path"], ["source", "source"], ["label", "label"], ["model", "model"],
];
const MOST_OF_NAME = 300; // characters of a name that the list shows

export class SignalsPane {
  readonly element: HTMLElement;
  readonly search = new Atom("");
  readonly tree: Tree;
  private readonly input = element("input", "filter", {
    type: "search", placeholder: "Search", "aria-label": "Search signals", title: "Search in labels, paths, sources, models, units and runs (/)",
    autocomplete: "off", spellcheck: "false",
  });
  private readonly column = element("select", "tool", { "aria-label": "Group by" });
  private readonly order: HTMLButtonElement;
  private readonly count = element("span", "muted found", { role: "status" });
  private groups: TreeGroup[] = [];
  /** Keys of groups that are closed, and of those closed while a search is shown. */
  private readonly closed = new Set<string>();
  private closedInSearch = new Set<string>();
  private texts: { of: readonly unknown[]; searched: SearchTexts } | null = null;

  /** `leave` is told that Escape was pressed in the list, `enter` that Enter was pressed on what is chosen. */
  constructor(private readonly session: Session, private readonly leave: () => void, private readonly enter: () => void) {
    for (const [value, text] of COLUMNS) this.column.append(element("option", "", { value }, `by ${text}`));
    this.order = button("", "tool order", "", () =>
      session.grouping.update(({ by, descending }) => ({ by, descending: !descending })));
    this.tree = this.makeTree();
    this.element = element(
      "section", "signals", { "aria-label": "Signals" },
      element("div", "signals-tools", {}, this.input, this.column, this.order),
      this.tree.element,
      element("div", "signals-foot", {}, this.count),
    );
    this.column.addEventListener("change", () =>
      session.grouping.update(({ descending }) => ({ by: this.column.value as GroupColumn, descending })));
    this.input.addEventListener("input", () => this.search.set(this.input.value));
    this.input.addEventListener("keydown", (event) => this.leaveSearch(event));
    this.search.watch(() => this.searched());
    session.grouping.watch(() => {
      this.showGrouping();
      this.regroup();
    });
    this.input.addEventListener("focus", () => this.view !== null && this.searchTexts(this.view));
    session.view.watch((view, before) => this.viewed(view, before));
    session.chosen.watch(() => this.tree.refresh());
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.tree.refresh());
    this.tree.setRows([], "Loading the signals…");
    this.showGrouping();
  }

  focusSearch(): void {
    this.input.focus();
    this.input.select();
  }

  private makeTree(): Tree {
    return new Tree({
      label: "Signals",
      empty: "",
      tick: (row) => this.tick(row),
      isOpen: (row) => !this.closedNow.has(this.group(row)?.key ?? ""),
      isChosen: (row) => this.isChosen(row),
      fillRow: (row, cell) => (row < 0 ? this.fillGroup(row, cell) : this.fillSignal(row, cell)),
      textOf: (row) => (row < 0 ? (this.group(row)?.name ?? "") : this.nameOf(row)),
      onTick: (row) => this.toggle(row),
      onChoose: (row) => this.choose(row),
      onOpen: (row, isOpen) => this.open(row, isOpen),
      onOpenAll: () => {
        this.closedNow.clear();
        this.showRows();
      },
      onLeave: this.leave,
      onEnter: this.enter,
    });
  }

  /** Down and Enter go from the search to the list; Escape empties the search first. */
  private leaveSearch(event: KeyboardEvent): void {
    if (event.key === "Escape" && this.input.value !== "") {
      event.preventDefault();
      this.search.set("");
    } else if (event.key === "ArrowDown" || event.key === "Enter" || event.key === "Escape") {
      event.preventDefault();
      this.tree.element.focus();
    }
  }

  // ---- What is shown ----

  private get view(): StoreView | null {
    return this.session.view.get();
  }

  private get closedNow(): Set<string> {
    return this.search.get() === "" ? this.closed : this.closedInSearch;
  }

  private viewed(view: StoreView | null, before: StoreView | null): void {
    if (view === null) return;
    const isSame = before !== null && view.signals.id === before.signals.id && view.state.runs === before.state.runs;
    if (isSame && this.search.get() === "") this.tree.refresh();
    else this.regroup();
  }

  private regroup(): void {
    const { view } = this;
    const { by, descending } = this.session.grouping.get();
    if (view === null) return;
    this.groups = treeGroups(view, by, descending);
    this.showRows();
  }

  private showGrouping(): void {
    const { by, descending } = this.session.grouping.get();
    this.column.value = by;
    this.order.textContent = descending ? "↓" : "↑";
    this.order.title = descending ? "Last group first; press for the first" : "First group first; press for the last";
    this.order.setAttribute("aria-label", descending ? "Order of groups: descending" : "Order of groups: ascending");
  }

  private searched(): void {
    const query = this.search.get();
    if (this.input.value !== query) this.input.value = query;
    this.closedInSearch = new Set();
    this.showRows();
  }

  private showRows(): void {
    const { view } = this;
    if (view === null) return;
    const query = this.search.get();
    const total = view.signals.id.length;
    const found = query === "" ? null : this.searchTexts(view).matching(query);
    this.tree.setRows(
      treeRows(this.groups, this.closedNow, found === null ? null : marked(found, total)),
      total === 0 ? "The store has no signals." : "No signal has this in its names.",
    );
    this.count.textContent = found === null
      ? counted(total, "signal") : `${countText(found.length)} of ${counted(total, "signal")}`;
  }

  /** Made before the first letter is typed, and again when names have changed. */
  private searchTexts(view: StoreView): SearchTexts {
    const { label, path, source, model, unit, run, sid } = view.signals;
    const of = [label, path, source, model, unit, view.state.runs];
    if (this.texts === null || of.some((column, place) => column !== this.texts?.of[place])) {
      const runs = new Map(view.state.runs.map(({ id, name }) => [id, name]));
      const searched = new SearchTexts(label.map((text, place) =>
        [text, path[place], source[place], model[place], unit[place] ?? "", sid[place], runs.get(run[place]!)].join("\n")));
      this.texts = { of, searched };
    }
    return this.texts.searched;
  }

  // ---- Rows ----

  private group(row: TreeRow): TreeGroup | undefined {
    return this.groups[groupOfRow(row)];
  }

  /** The signals of a group that the search shows. */
  private shownPlaces(row: TreeRow): number[] {
    const places = this.group(row)?.places ?? [];
    const query = this.search.get();
    return query === "" || this.view === null ? places : this.searchTexts(this.view).matching(query, places);
  }

  private nameOf(place: number): string {
    const signals = this.view?.signals;
    return signals?.label[place] || signals?.path[place] || `signal ${signals?.id[place]}`;
  }

  private fillGroup(row: TreeRow, cell: HTMLElement): void {
    const group = this.group(row);
    if (group === undefined) return;
    const { by } = this.session.grouping.get();
    const name = group.name === "" ? element("i", "", {}, `no ${by}`) : element("bdi", "", {}, shownShort(group.name, MOST_OF_NAME));
    cell.append(
      element("span", "tree-name", { title: shownShort(group.name, MOST_OF_NAME) }, name),
      element("span", "tree-side", {}, countText(group.places.length)),
    );
  }

  private fillSignal(place: number, cell: HTMLElement): void {
    const signals = this.view?.signals;
    if (signals === undefined) return;
    const name = shownShort(this.nameOf(place), MOST_OF_NAME);
    const where = this.whereOf(place);
    cell.classList.toggle("hidden-signal", !signals.visible[place]);
    cell.append(
      swatch(seenColor(signals.color[place]!), signals.dash[place]!),
      element("span", "tree-name", { title: where === "" ? name : `${name} (${where})` },
        element("bdi", "", {}, name),
        where === "" ? null : element("bdi", "tree-where", {}, where)),
      element("span", "tree-side", {}, signals.drawable[place] ? shownShort(signals.unit[place] ?? "", 16) : "text"),
    );
  }

  /** What tells the signal from others of its name, where its group does not say it. */
  private whereOf(place: number): string {
    const { view } = this;
    if (view === null) return "";
    const { by } = this.session.grouping.get();
    const path = by === "path" ? "" : view.signals.path[place]!;
    const isOneRun = view.state.runs.length < 2;
    const run = by === "run" || isOneRun ? "" : (view.run(view.signals.run[place]!)?.name ?? "");
    return [run, path].filter((text) => text !== "").map((text) => shownShort(text, MOST_OF_NAME)).join(" · ");
  }

  private isChosen(row: TreeRow): boolean {
    const chosen = this.session.chosen.get();
    if (chosen === null) return false;
    if (row < 0) return chosen.kind === "run" && this.group(row)?.run === chosen.id;
    return chosen.kind === "signal" && this.view?.signals.id[row] === chosen.id;
  }

  private tick(row: TreeRow): Tick {
    const visible = this.view?.signals.visible ?? [];
    return row < 0 ? tickOf(this.shownPlaces(row), visible) : visible[row] ? "true" : "false";
  }

  // ---- What rows do ----

  private toggle(row: TreeRow): void {
    const signals = this.view?.signals;
    if (signals === undefined) return;
    const places = row < 0 ? this.shownPlaces(row) : [row];
    const visible = this.tick(row) !== "true";
    const ids = places.filter((place) => signals.visible[place] !== visible).map((place) => signals.id[place]!);
    this.session.changeOrFail(ids, { visible });
  }

  private choose(row: TreeRow): void {
    if (row >= 0) return this.session.chosen.set({ kind: "signal", id: this.view!.signals.id[row]! });
    const run = this.group(row)?.run ?? null;
    if (run !== null) this.session.chosen.set({ kind: "run", id: run });
    else this.open(row, this.closedNow.has(this.group(row)?.key ?? ""));
  }

  private open(row: TreeRow, isOpen: boolean): void {
    const key = this.group(row)?.key;
    if (key === undefined) return;
    if (isOpen) this.closedNow.delete(key);
    else this.closedNow.add(key);
    this.showRows();
  }
}
