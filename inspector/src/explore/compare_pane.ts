// Two runs compared: which, with which options, and below them what the comparison found.

import type { ComparisonOptions, Run } from "../data/source";
import { button, element, fill } from "../dom";
import { ComparisonView } from "../report/view";
import type { Address } from "../state/address";
import { shownShort } from "../text/shown";
import { CompareOptions } from "./compare_options";
import type { Compared, Session } from "./session";

const CHOOSE = "Choose two runs. The baseline decides which signals and values must be there, and its tolerances are in force.";
const SAME_RUN = "Choose two different runs: a run agrees with itself.";
const ONE_RUN = "There is only one run. Start “kvr view” with the files of two runs.";

export class ComparePane {
  readonly element: HTMLElement;
  private readonly baseline = element("select", "tool", { id: "compare-baseline" });
  private readonly other = element("select", "tool", { id: "compare-other" });
  private readonly options = new CompareOptions();
  private readonly failure = element("p", "banner-line error", { role: "alert", hidden: true });
  private readonly busy = element("span", "muted", { role: "status" });
  private readonly nothing = element("p", "notice", {}, CHOOSE);
  private readonly submit = element("button", "tool primary", { type: "submit", title: "Compare these runs (Enter)" }, "Compare");
  private readonly end: HTMLButtonElement;
  private readonly found: ComparisonView;

  constructor(private readonly session: Session, address: Address) {
    this.found = new ComparisonView(session.source, address);
    this.end = button("Close", "tool", "End this comparison, in every window", () => session.endComparison());
    const form = element(
      "form", "compare-form", { "aria-label": "What to compare" },
      labelled("baseline", this.baseline), labelled("other", this.other),
      ...this.options.elements,
      element("span", "compare-buttons", {}, this.submit, this.end, this.busy),
    );
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      this.compare();
    });
    this.element = element("section", "compare-pane", { hidden: true }, form, this.failure, this.nothing, this.found.element);
    for (const select of [this.baseline, this.other]) select.addEventListener("change", () => this.showChoice());
    session.view.watch((view, before) => {
      if (view !== null && view.state.runs !== before?.state.runs) this.showRuns(view.state.runs);
    });
    session.compared.watch((compared, before) => this.show(compared, before));
    this.show(session.compared.get(), null);
  }

  /** Chooses a run as the baseline, and another one than it as the other. */
  choose(baseline: number): void {
    this.baseline.value = String(baseline);
    if (this.other.value === this.baseline.value) {
      const others = [...this.other.options].filter(({ value }) => value !== this.baseline.value);
      this.other.value = others[0]?.value ?? this.baseline.value;
    }
    this.showChoice();
    this.other.focus();
  }

  /** Puts the focus where Enter compares, and where letters are still keys. */
  focus(): void {
    (this.submit.disabled ? this.other : this.submit).focus();
  }

  /** Two different runs can be compared. */
  private showChoice(): void {
    const isSame = this.baseline.value === this.other.value;
    this.submit.disabled = isSame;
    this.nothing.textContent = !isSame ? CHOOSE : this.baseline.options.length === 1 ? ONE_RUN : SAME_RUN;
  }

  /** Lists the keys of the comparison; false if none is shown. */
  showHelp(): boolean {
    if (this.found.element.hidden) return false;
    this.found.help.showModal();
    return true;
  }

  private showRuns(runs: readonly Run[]): void {
    const selects = [[this.baseline, runs[0]], [this.other, runs[1] ?? runs[0]]] as const;
    for (const [select, first] of selects) {
      const before = select.value;
      const text = ({ id, name }: Run): string => {
        const isShared = runs.some((one) => one.id !== id && one.name === name);
        return `${shownShort(name, 80)}${isShared ? ` (${id})` : ""}`;
      };
      fill(select, ...runs.map((run) => element("option", "", { value: run.id }, text(run))));
      const isThere = runs.some(({ id }) => String(id) === before);
      select.value = isThere ? before : String(first?.id ?? "");
    }
    this.followComparison();
    this.showChoice();
  }

  private compare(): void {
    let options: Partial<ComparisonOptions>;
    try {
      options = this.options.read();
    } catch (error) {
      return this.showFailure(error instanceof Error ? error.message : String(error));
    }
    this.session.compare({ baseline: Number(this.baseline.value), other: Number(this.other.value), options });
  }

  private showFailure(failure: string | null): void {
    this.failure.hidden = failure === null;
    this.failure.textContent = failure === null ? "" : shownShort(failure, 600);
  }

  private show(compared: Compared, before: Compared | null): void {
    const { comparison, failure, isBusy } = compared;
    this.showFailure(failure);
    this.busy.textContent = isBusy ? "comparing…" : "";
    this.end.hidden = comparison === null;
    this.nothing.hidden = comparison !== null || failure !== null;
    this.found.element.hidden = comparison === null;
    if (comparison === null || comparison === before?.comparison) return;
    this.followComparison();
    this.found.show(comparison).catch((error: unknown) => this.session.fail(error));
  }

  /** Shows in the form what is compared: another window may have begun it. */
  private followComparison(): void {
    const { comparison } = this.session.compared.get();
    if (comparison === null) return;
    this.baseline.value = String(comparison.baseline.id);
    this.other.value = String(comparison.other.id);
    this.options.show(comparison.options);
    this.showChoice();
  }
}

export function labelled(text: string, control: HTMLElement): HTMLElement {
  return element("label", "labelled", {}, element("span", "", {}, text), control);
}
