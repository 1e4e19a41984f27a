// The page over all pairs of a campaign: a table with a filter box and a switch for each status. Rows
// of pairs that fail lead to their reports. The address holds filter, statuses and order.

import type { EmbeddedData } from "../data/embedded";
import { button, element, fill } from "../dom";
import { keysHelp } from "../report/help";
import { Address } from "../state/address";
import { bindKeys } from "../state/keys";
import type { HotKey } from "../state/keys";
import { SearchTexts } from "../table/rows";
import { Table } from "../table/table";
import { countText, counted } from "../text/numbers";
import { shownShort } from "../text/shown";
import { CLASSES, COLUMNS, MARKS, STATUSES, rowsOf, searchText } from "./rows";
import type { CampaignData, CampaignRow, PairStatus } from "./rows";

/** Shows the campaign in `root`. */
export function startCampaign(root: HTMLElement, embedded: EmbeddedData): void {
  const data = embedded as CampaignData;
  document.title = shownShort(data.title, 120);
  const view = new CampaignView(data, new Address(globalThis.window));
  root.classList.add("report");
  fill(root, view.element);
}

class CampaignView {
  readonly element: HTMLElement;
  private readonly rows: CampaignRow[];
  private readonly texts: SearchTexts;
  private readonly table: Table<CampaignRow>;
  private readonly switches = new Map<PairStatus, HTMLButtonElement>();
  private readonly found = element("span", "muted found", { role: "status" });
  private readonly box = element("input", "filter", {
    type: "search", placeholder: "Filter pairs ( / )", "aria-label": "Filter pairs",
    title: 'Words that a name, status or reason has; -word: not this one; "two words"',
    spellcheck: "false", autocomplete: "off",
  });
  private readonly help: HTMLDialogElement;

  constructor(
    private readonly data: CampaignData,
    private readonly address: Address,
  ) {
    this.rows = rowsOf(data);
    this.texts = new SearchTexts(this.rows.map(searchText));
    this.table = new Table<CampaignRow>({
      label: "Pairs",
      columns: COLUMNS,
      rowClass: ({ status }) => `row-${CLASSES[status]}`,
      onAction: ({ report }) => {
        if (report !== null) location.assign(report);
      },
      empty: "No pair matches the filter.",
    });
    const keys = this.hotKeys();
    this.help = keysHelp(keys);
    bindKeys(document, keys);
    const press = button("?", "tool help-button", "Keys (?)", () => this.help.showModal());
    const tools = element("div", "pairs-tools", {}, this.box, this.statusSwitches(), this.found);
    const pairs = element("section", "pairs", { "aria-label": "Pairs" }, tools, this.table.element);
    this.element = element("div", "comparison campaign", {}, this.summary(), element("main", "", {}, pairs), press, this.help);
    this.box.addEventListener("input", () => this.tell({ filter: this.box.value }));
    this.table.sorting.watch((sorting) => {
      this.tell({ sort: sorting === null ? "" : (sorting.descending ? "-" : "") + sorting.column });
    });
    address.fields.watch(() => this.follow());
    this.table.setRows(this.rows);
    this.follow();
  }

  // ---- The head ----

  private summary(): HTMLElement {
    const { title, counts, signals, options, made } = this.data;
    const total = Object.values(counts).reduce((sum, one) => sum + one, 0);
    const failing = (counts.differs ?? 0) + (counts.error ?? 0) + (counts.missing ?? 0) + (counts.nothing ?? 0);
    const left = total - this.rows.length;
    const facts: [string, string][] = [
      ["signals", Object.entries(signals).filter(([, count]) => count > 0).map(([status, count]) => `${status} ${countText(count)}`).join(", ")],
      ...Object.entries(options).map(([name, value]): [string, string] => [name.replace("_", " "), JSON.stringify(value)]),
      ["written", made],
    ];
    return element(
      "header", "summary", {},
      element("h1", "", {},
        element("span", `outcome ${failing === 0 ? "passed" : "failed"}`, {}, failing === 0 ? "passed" : "failed"), " ",
        element("bdi", "", {}, shownShort(title, 300))),
      element("p", "sentence", {}, sentence(total, failing)),
      left > 0 ? element("p", "sentence", {}, `${counted(left, "pair")} that passed ${left === 1 ? "is" : "are"} not listed.`) : null,
      element("dl", "options", {}, ...facts.map(([name, text]) =>
        element("div", "fact", {}, element("dt", "", {}, name), element("dd", "", {}, element("bdi", "", {}, shownShort(text, 400)))))),
    );
  }

  private statusSwitches(): HTMLElement {
    const { counts } = this.data;
    const made = STATUSES.filter((status) => (counts[status] ?? 0) > 0).map((status) => {
      const press = element("button", `chip ${CLASSES[status]}`, { type: "button", "aria-pressed": "false", title: `Show pairs with the status ${status}` },
        element("span", "mark", { "aria-hidden": "true" }, MARKS[status]), ` ${status} `, element("b", "", {}, countText(counts[status] ?? 0)));
      press.addEventListener("click", () => this.toggle(status));
      this.switches.set(status, press);
      return press;
    });
    return element("div", "chips", { role: "group", "aria-label": "Statuses" }, ...made);
  }

  // ---- What is shown: the address says it ----

  private wanted(): Set<PairStatus> {
    const words = (this.address.fields.get()["status"] ?? "").split(",");
    return new Set(STATUSES.filter((status) => words.includes(status)));
  }

  private toggle(status: PairStatus): void {
    const wanted = this.wanted();
    if (!wanted.delete(status)) wanted.add(status);
    this.tell({ status: [...wanted].join(",") });
  }

  private tell(fields: Record<string, string>): void {
    this.address.change(fields, false);
  }

  private follow(): void {
    const { filter = "", sort = "" } = this.address.fields.get();
    if (this.box.value !== filter) this.box.value = filter;
    const wanted = this.wanted();
    for (const [status, press] of this.switches) press.setAttribute("aria-pressed", String(wanted.has(status)));
    const column = sort.replace(/^-/, "");
    this.table.sorting.set(sort === "" ? null : { column, descending: sort !== column });
    const places = this.texts.matching(filter).filter((place) => wanted.size === 0 || wanted.has(this.rows[place]!.status));
    this.table.choose(places);
    fill(this.found, places.length === this.rows.length ? "" : `${countText(places.length)} of ${countText(this.rows.length)}`);
  }

  private hotKeys(): HotKey[] {
    return [
      { keys: ["/"], help: "filter the pairs", run: () => this.box.focus() },
      { keys: ["j"], help: "next pair", run: () => this.table.step(1) },
      { keys: ["k"], help: "previous pair", run: () => this.table.step(-1) },
      { keys: ["?"], help: "these keys", run: () => this.help.showModal() },
    ];
  }
}

function sentence(total: number, failing: number): string {
  if (total === 0) return "There were no pairs.";
  if (failing === 0) return total === 1 ? "The one pair passed." : `All ${countText(total)} pairs passed.`;
  return `${countText(failing)} of ${countText(total)} pairs ${failing === 1 ? "fails" : "fail"}.`;
}
