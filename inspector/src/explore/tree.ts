// The list of signals in their groups, of any length: only the rows that can be seen are in the
// document.
//
// Keys, on the focused list: arrows, Page Up and Down, Home and End move the active row; right opens
// a group, left closes it or goes to it; * opens all groups; the space bar ticks; Enter chooses, and on
// what is chosen goes on to its details; letters go to the next row that begins with them; Escape
// leaves the list.

import { element, fill } from "../dom";
import { Atom } from "../state/atom";
import { frames } from "../state/frames";
import { groupRank, rankOfTyped } from "./tree_rows";
import type { Tick, TreeRow } from "./tree_rows";

/** What the tree asks its owner about rows. Groups are the rows below 0. */
export interface TreeOptions {
  label: string;
  tick: (row: TreeRow) => Tick;
  isOpen: (row: TreeRow) => boolean;
  isChosen: (row: TreeRow) => boolean;
  /** What stands behind the tick. */
  fillRow: (row: TreeRow, cell: HTMLElement) => void;
  /** What typing looks for. */
  textOf: (row: TreeRow) => string;
  onTick: (row: TreeRow) => void;
  onChoose: (row: TreeRow) => void;
  /** Enter on a row that is chosen already. */
  onEnter: () => void;
  onOpen: (row: TreeRow, isOpen: boolean) => void;
  onOpenAll: () => void;
  onLeave: () => void;
  empty: string;
}

const ROW_HEIGHT = 24; // CSS pixels, as in the style sheet
const SPARE = 8; // rows that are drawn above and below those that can be seen
const TYPING_PAUSE = 700; // milliseconds after which typing begins a new word

export class Tree {
  readonly element: HTMLElement;
  /** The active row, null without one. */
  readonly active = new Atom<TreeRow | null>(null);
  private readonly body = element("div", "tree-body", { role: "presentation" });
  private readonly emptyText: HTMLElement;
  private rows: readonly TreeRow[] = [];
  private typed = "";
  private typedAt = -Infinity;

  constructor(private readonly options: TreeOptions) {
    this.emptyText = element("p", "tree-empty", { hidden: true }, options.empty);
    this.element = element(
      "div", "tree", { role: "tree", tabindex: 0, "aria-label": options.label, "aria-multiselectable": "true" },
      this.body,
    );
    this.element.addEventListener("scroll", () => this.refresh(), { passive: true });
    this.element.addEventListener("keydown", (event) => this.pressed(event));
    this.body.addEventListener("click", (event) => this.clicked(event));
    new ResizeObserver(() => this.refresh()).observe(this.element);
    this.active.watch(() => this.refresh());
  }

  /** Shows these rows. The active one stays if it is among them. */
  setRows(rows: readonly TreeRow[], empty: string): void {
    this.rows = rows;
    this.emptyText.textContent = empty;
    if (this.rank < 0) this.active.set(null);
    this.refresh();
  }

  /** Draws the rows anew in the next frame. */
  refresh(): void {
    frames.schedule(this, () => this.draw());
  }

  /** Makes a row the active one and scrolls to it; nothing if it is not shown. */
  activate(row: TreeRow): void {
    const rank = this.rows.indexOf(row);
    if (rank >= 0) this.goTo(rank);
  }

  // ---- Drawing ----

  private draw(): void {
    const { scrollTop, clientHeight } = this.element;
    const first = Math.max(0, Math.floor(scrollTop / ROW_HEIGHT) - SPARE);
    const end = Math.min(this.rows.length, first + Math.ceil(clientHeight / ROW_HEIGHT) + 2 * SPARE);
    this.body.style.height = `${this.rows.length * ROW_HEIGHT}px`;
    const drawn: HTMLElement[] = [];
    for (let rank = first; rank < end; rank++) drawn.push(this.row(rank));
    this.replace(drawn);
    this.emptyText.hidden = this.rows.length > 0;
    if (this.emptyText.hidden) this.emptyText.remove();
    else this.element.append(this.emptyText);
    this.tellActive(first, end);
  }

  /** Rows that look the same stay: a click that has begun on one of them must end on it. */
  private replace(drawn: readonly HTMLElement[]): void {
    const before = new Map([...this.body.children].map((row) => [row.id, row]));
    const rows = drawn.map((row) => {
      const old = before.get(row.id);
      return old?.isEqualNode(row) === true ? old : row;
    });
    if (rows.length !== before.size || rows.some((row, place) => row !== this.body.children[place])) fill(this.body, ...rows);
  }

  private row(rank: number): HTMLElement {
    const row = this.rows[rank]!;
    const isGroup = row < 0;
    const made = element("div", `tree-row ${isGroup ? "group" : "leaf"}`, {
      role: "treeitem",
      id: idOf(row),
      "aria-level": isGroup ? 1 : 2,
      "aria-setsize": -1,
      "aria-posinset": rank + 1,
      "aria-checked": this.options.tick(row),
      "aria-selected": this.options.isChosen(row) ? "true" : "false",
      "aria-expanded": isGroup ? String(this.options.isOpen(row)) : null,
      "data-row": row,
    });
    if (row === this.active.get()) made.classList.add("active");
    if (isGroup) made.append(element("span", "tree-arrow", { "aria-hidden": "true" }));
    made.append(element("span", "tree-tick", { "aria-hidden": "true" }));
    this.options.fillRow(row, made);
    made.style.top = `${rank * ROW_HEIGHT}px`;
    return made;
  }

  private tellActive(first: number, end: number): void {
    const active = this.active.get();
    const { rank } = this;
    if (active !== null && rank >= first && rank < end) {
      this.element.setAttribute("aria-activedescendant", idOf(active));
    } else this.element.removeAttribute("aria-activedescendant");
  }

  // ---- Moving ----

  private get rank(): number {
    const active = this.active.get();
    return active === null ? -1 : this.rows.indexOf(active);
  }

  private goTo(wanted: number): void {
    const rank = Math.min(Math.max(wanted, 0), this.rows.length - 1);
    const row = this.rows[rank];
    if (row === undefined) return;
    this.active.set(row);
    const top = rank * ROW_HEIGHT;
    const { scrollTop, clientHeight } = this.element;
    if (top < scrollTop) this.element.scrollTop = top;
    else if (top + ROW_HEIGHT > scrollTop + clientHeight) this.element.scrollTop = top + ROW_HEIGHT - clientHeight;
  }

  private pressed(event: KeyboardEvent): void {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const page = Math.max(1, Math.floor(this.element.clientHeight / ROW_HEIGHT) - 1);
    const { rank } = this;
    const row = this.rows[rank];
    const moves: Record<string, () => void> = {
      ArrowDown: () => this.goTo(rank + 1),
      ArrowUp: () => this.goTo(rank - 1),
      PageDown: () => this.goTo(rank + page),
      PageUp: () => this.goTo(rank - page),
      Home: () => this.goTo(0),
      End: () => this.goTo(this.rows.length - 1),
      ArrowRight: () => this.open(row, rank),
      ArrowLeft: () => this.close(row, rank),
      "*": () => this.options.onOpenAll(),
      Escape: () => this.options.onLeave(),
      Enter: () => {
        if (row === undefined) return;
        if (this.options.isChosen(row)) this.options.onEnter();
        else this.options.onChoose(row);
      },
      " ": () => row !== undefined && this.options.onTick(row),
    };
    const move = moves[event.key];
    if (move !== undefined) move();
    else if (event.key.length !== 1 || event.key === "/" || event.key === "?") return;
    else this.type(event.key, event.timeStamp);
    event.preventDefault();
  }

  private open(row: TreeRow | undefined, rank: number): void {
    if (row === undefined || row >= 0) return;
    if (this.options.isOpen(row)) this.goTo(rank + 1);
    else this.options.onOpen(row, true);
  }

  private close(row: TreeRow | undefined, rank: number): void {
    if (row === undefined) return;
    if (row < 0) this.options.onOpen(row, false);
    else this.goTo(groupRank(this.rows, rank));
  }

  private type(key: string, at: number): void {
    this.typed = at - this.typedAt > TYPING_PAUSE ? key : this.typed + key;
    this.typedAt = at;
    if (this.rows.length === 0) return;
    const found = rankOfTyped(this.rows, Math.max(this.rank, 0), this.typed, this.options.textOf);
    if (found !== null) this.goTo(found);
  }

  private clicked(event: MouseEvent): void {
    if (!(event.target instanceof Element)) return;
    const text = event.target.closest("[data-row]")?.getAttribute("data-row");
    if (text === null || text === undefined) return;
    const row = Number(text);
    this.active.set(row);
    if (event.target.closest(".tree-tick") !== null) this.options.onTick(row);
    else if (event.target.closest(".tree-arrow") !== null) this.options.onOpen(row, !this.options.isOpen(row));
    else this.options.onChoose(row);
  }
}

function idOf(row: TreeRow): string {
  return row < 0 ? `tree-group-${-row}` : `tree-signal-${row}`;
}
