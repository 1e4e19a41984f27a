// A table of any number of rows. Only the rows that can be seen are in the document.
//
// Keys, on the focused table: arrows, Page Up and Down, Home and End move the active row; Enter and
// the space bar run its action. Headers of columns that can be sorted are buttons.

import { element, fill } from "../dom";
import { Atom } from "../state/atom";
import { frames } from "../state/frames";
import { sortedPlaces } from "./rows";
import type { SortKey, Sorting } from "./rows";

export interface Column<Row> {
  key: string;
  title: string;
  /** Shown when the pointer rests on the header. */
  hint?: string;
  /** Numbers stand at the right, so that their digits are in line. */
  align?: "left" | "right";
  /** Width as a CSS grid track, in em: "5em", "minmax(8em, 2fr)". */
  width: string;
  cell: (row: Row) => Node | string;
  /** What the column is sorted by; a column without cannot be. */
  sortKey?: (row: Row) => SortKey;
  /** Whether the first press on the header sorts from large to small. */
  descendingFirst?: boolean;
}

export interface TableOptions<Row> {
  label: string;
  columns: Column<Row>[];
  /** A class of the row, such as for its colour. */
  rowClass?: (row: Row) => string;
  /** Enter, space or a double click on a row. */
  onAction?: (row: Row) => void;
  /** Shown where no row is left. */
  empty: string;
}

export const ROW_HEIGHT = 24; // CSS pixels, as in the style sheet
const SPARE = 8; // rows that are drawn above and below those that can be seen
const PRINTED = 2000;
const GAP = 12; // CSS pixels between columns, as in the style sheet
let tables = 0;

export class Table<Row> {
  readonly element: HTMLElement;
  /** The place of the active row in `rows`, null without one. */
  readonly active = new Atom<number | null>(null);
  readonly sorting = new Atom<Sorting | null>(null);
  private readonly id = `table-${++tables}`;
  private readonly head: HTMLElement;
  private readonly body = element("div", "table-body", { role: "rowgroup" });
  private readonly emptyText: HTMLElement;
  private readonly headers = new Map<string, HTMLElement>();
  private rows: readonly Row[] = [];
  private chosen: readonly number[] = [];
  /** Places of rows in the order they are shown in, and the other way round. */
  private order: number[] = [];
  private readonly rankOf = new Map<number, number>();
  private isPrinting = false;
  private readonly sizes = new ResizeObserver(() => this.schedule());
  private readonly printing = (event: Event): void => {
    this.isPrinting = event.type === "beforeprint";
    this.draw();
  };

  constructor(private readonly options: TableOptions<Row>) {
    this.head = element("div", "table-head", { role: "row", "aria-rowindex": 1 }, ...options.columns.map((one) => this.header(one)));
    this.emptyText = element("div", "table-empty", { role: "row" }, element("div", "", { role: "gridcell" }, options.empty));
    this.element = element(
      "div",
      "table",
      { role: "grid", tabindex: 0, "aria-label": options.label, "aria-colcount": options.columns.length },
      element("div", "table-header", { role: "rowgroup" }, this.head),
      this.body,
    );
    const widths = options.columns.map(({ width }) => width);
    this.element.style.setProperty("--columns", widths.join(" "));
    // The same for all rows: each is a grid of its own, and its texts must not decide.
    this.element.style.setProperty("--least", leastWidth(widths));
    this.element.addEventListener("scroll", () => this.schedule(), { passive: true });
    this.element.addEventListener("keydown", (event) => this.pressed(event));
    this.body.addEventListener("click", (event) => this.clicked(event));
    this.body.addEventListener("dblclick", () => this.act());
    this.sizes.observe(this.element);
    this.active.watch(() => this.schedule());
    this.sorting.watch(() => this.reorder());
    addEventListener("beforeprint", this.printing);
    addEventListener("afterprint", this.printing);
  }

  /** Shows these rows; `chosen` are the places of those that pass the filter. */
  setRows(rows: readonly Row[], chosen: readonly number[] = [...rows.keys()]): void {
    this.rows = rows;
    this.chosen = chosen;
    this.reorder();
  }

  /** Shows other rows of the same. The active row stays where it is, also if it is not shown. */
  choose(places: readonly number[]): void {
    this.chosen = places;
    this.reorder();
  }

  /** Draws the cells anew: what they show has changed. */
  refresh(): void {
    this.schedule();
  }

  /** The places of rows in the order they are shown in. */
  get shownPlaces(): readonly number[] {
    return this.order;
  }

  /** Makes the next or previous shown row the active one, and scrolls to it. */
  step(by: number): void {
    const rank = this.activeRank();
    this.activate(rank < 0 ? (by > 0 ? 0 : this.order.length - 1) : rank + by);
  }

  /** Scrolls so that the active row can be seen. */
  reveal(): void {
    const rank = this.activeRank();
    if (rank < 0) return;
    const headHeight = this.head.offsetHeight;
    const top = rank * ROW_HEIGHT;
    const view = this.element.clientHeight - headHeight;
    if (top < this.element.scrollTop) this.element.scrollTop = top;
    else if (top + ROW_HEIGHT > this.element.scrollTop + view) this.element.scrollTop = top + ROW_HEIGHT - view;
  }

  destroy(): void {
    frames.cancel(this);
    this.sizes.disconnect();
    removeEventListener("beforeprint", this.printing);
    removeEventListener("afterprint", this.printing);
    this.element.remove();
  }

  // ---- Order ----

  private header(column: Column<Row>): HTMLElement {
    const cell = element("div", `table-cell ${column.align ?? "left"}`, { role: "columnheader", title: column.hint });
    if (column.sortKey === undefined) {
      cell.append(element("span", "", {}, column.title));
      return cell;
    }
    const press = element("button", "table-sort", { type: "button" }, column.title);
    press.addEventListener("click", () => this.sortBy(column));
    cell.append(press);
    this.headers.set(column.key, cell);
    return cell;
  }

  /** Sorts by the column; again, the other way round; a third time, in the order of the rows. */
  private sortBy(column: Column<Row>): void {
    const now = this.sorting.get();
    const descending = column.descendingFirst === true;
    if (now?.column !== column.key) this.sorting.set({ column: column.key, descending });
    else this.sorting.set(now.descending === descending ? { column: column.key, descending: !descending } : null);
  }

  private reorder(): void {
    const sorting = this.sorting.get();
    const column = this.options.columns.find(({ key }) => key === sorting?.column);
    const sortKey = column?.sortKey;
    this.order =
      sorting !== null && sortKey !== undefined
        ? sortedPlaces(this.chosen, this.rows.map(sortKey), sorting.descending)
        : [...this.chosen];
    this.rankOf.clear();
    this.order.forEach((place, rank) => this.rankOf.set(place, rank));
    for (const [key, cell] of this.headers) {
      const direction = sorting?.descending === true ? "descending" : "ascending";
      cell.setAttribute("aria-sort", sorting?.column === key ? direction : "none");
    }
    this.schedule();
  }

  // ---- Drawing ----

  private schedule(): void {
    frames.schedule(this, () => this.draw());
  }

  private draw(): void {
    const { scrollTop, clientHeight } = this.element;
    const last = this.order.length - 1;
    const first = this.isPrinting ? 0 : Math.max(0, Math.floor(scrollTop / ROW_HEIGHT) - SPARE);
    const visible = Math.ceil(clientHeight / ROW_HEIGHT) + 2 * SPARE;
    const end = Math.min(last, this.isPrinting ? PRINTED - 1 : first + visible);
    this.element.setAttribute("aria-rowcount", String(this.order.length + 1));
    this.body.style.height = `${this.order.length * ROW_HEIGHT}px`;
    const drawn: HTMLElement[] = [];
    for (let rank = first; rank <= end; rank++) drawn.push(this.row(rank));
    fill(this.body, ...drawn, this.order.length === 0 ? this.emptyText : null);
    this.markActive();
  }

  private row(rank: number): HTMLElement {
    const place = this.order[rank]!;
    const row = this.rows[place]!;
    const isActive = place === this.active.get();
    const made = element("div", `table-row ${this.options.rowClass?.(row) ?? ""}`, {
      role: "row",
      id: `${this.id}-row-${place}`,
      "aria-rowindex": rank + 2,
      "aria-selected": isActive ? "true" : "false",
      "data-place": place,
    });
    for (const column of this.options.columns) {
      made.append(element("div", `table-cell ${column.align ?? "left"}`, { role: "gridcell" }, column.cell(row)));
    }
    made.style.top = `${rank * ROW_HEIGHT}px`;
    return made;
  }

  private markActive(): void {
    const place = this.active.get();
    const id = `${this.id}-row-${place}`;
    const isDrawn = place !== null && this.body.querySelector(`#${id}`) !== null;
    if (isDrawn) this.element.setAttribute("aria-activedescendant", id);
    else this.element.removeAttribute("aria-activedescendant");
  }

  // ---- Moving ----

  private activeRank(): number {
    const place = this.active.get();
    return place === null ? -1 : (this.rankOf.get(place) ?? -1);
  }

  private activate(rank: number): void {
    const place = this.order[Math.min(Math.max(rank, 0), this.order.length - 1)];
    if (place === undefined) return;
    this.active.set(place);
    this.reveal();
  }

  private pressed(event: KeyboardEvent): void {
    if (event.target !== this.element || event.ctrlKey || event.altKey || event.metaKey) return;
    const page = Math.max(1, Math.floor(this.element.clientHeight / ROW_HEIGHT) - 2);
    const last = this.order.length - 1;
    const moves: Record<string, () => void> = {
      ArrowDown: () => this.step(1),
      ArrowUp: () => this.step(-1),
      PageDown: () => this.step(page),
      PageUp: () => this.step(-page),
      Home: () => this.activate(0),
      End: () => this.activate(last),
      Enter: () => this.act(),
      " ": () => this.act(),
    };
    const move = moves[event.key];
    if (move === undefined) return;
    event.preventDefault();
    move();
  }

  private clicked(event: Event): void {
    const row = event.target instanceof Element ? event.target.closest("[data-place]") : null;
    const place = row?.getAttribute("data-place");
    if (place !== null && place !== undefined) this.active.set(Number(place));
  }

  private act(): void {
    const place = this.active.get();
    const row = place === null ? undefined : this.rows[place];
    if (row !== undefined) this.options.onAction?.(row);
  }
}

/** The sum of the least widths of columns, and of the gaps between and around them. */
function leastWidth(widths: readonly string[]): string {
  const ems = widths.map((width) => Number(/[\d.]+/.exec(width)?.[0] ?? 0));
  return `calc(${ems.reduce((sum, one) => sum + one, 0)}em + ${(widths.length - 1) * GAP + 20}px)`;
}
