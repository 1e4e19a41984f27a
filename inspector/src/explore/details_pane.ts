// The right side: the chosen signal or run. It is there only while something is chosen.

import { button, element, fill } from "../dom";
import type { PlotPane } from "./plot_pane";
import { RunDetails } from "./run_details";
import type { Chosen, Session } from "./session";
import { SignalDetails } from "./signal_details";

export class DetailsPane {
  readonly element: HTMLElement;
  private readonly body = element("div", "details-body");
  private shown: SignalDetails | RunDetails | null = null;

  constructor(
    private readonly session: Session,
    private readonly plots: PlotPane,
    private readonly compareWith: (run: number) => void,
    closed: () => void,
  ) {
    const close = button("×", "legend-remove details-close", "Close (Esc)", () => this.close(closed));
    close.setAttribute("aria-label", "Close the details");
    this.element = element("aside", "details-pane", { "aria-label": "Chosen", tabindex: -1, hidden: true }, close, this.body);
    this.element.addEventListener("keydown", (event) => {
      if (event.key !== "Escape" || event.target instanceof HTMLInputElement) return;
      event.preventDefault();
      this.close(closed);
    });
    session.chosen.watch((chosen) => this.choose(chosen));
    session.view.watch(() => this.update());
    plots.layout.watch(() => this.shown instanceof SignalDetails && this.shown.showPlots());
  }

  /** Puts the focus on the first field. */
  focus(): void {
    this.body.querySelector<HTMLElement>("input, select")?.focus();
  }

  private close(closed: () => void): void {
    this.session.chosen.set(null);
    closed();
  }

  private choose(chosen: Chosen): void {
    this.element.hidden = chosen === null;
    this.shown = chosen === null ? null : this.make(chosen);
    fill(this.body, this.shown?.element);
    this.element.scrollTop = 0;
    this.update();
  }

  private make({ kind, id }: NonNullable<Chosen>): SignalDetails | RunDetails {
    if (kind === "run") return new RunDetails(this.session, id, this.compareWith);
    return new SignalDetails(this.session, id, {
      layout: () => this.plots.layout.get(),
      move: (signal, plot) => this.plots.arrangeSignal(signal, plot),
    });
  }

  private update(): void {
    const view = this.session.view.get();
    if (view !== null) this.shown?.show(view);
  }
}
