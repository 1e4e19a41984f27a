// The keys of the inspector.

import type { Atom } from "../state/atom";
import type { HotKey } from "../state/keys";
import type { ComparePane } from "./compare_pane";
import type { DetailsPane } from "./details_pane";
import type { PlotPane } from "./plot_pane";
import type { SignalsPane } from "./signals_pane";

export type Mode = "signals" | "comparison";

interface Parts {
  mode: Atom<Mode>;
  signals: SignalsPane;
  plots: PlotPane;
  details: DetailsPane;
  comparing: ComparePane;
  help: () => void;
}

/** The keys that hold wherever the focus is. Those of the comparison come with its view. */
export function hotKeys({ mode, signals, plots, details, comparing, help }: Parts): HotKey[] {
  const inSignals = (act: () => void) => (): void => {
    if (mode.get() === "signals") act();
  };
  return [
    { keys: ["s"], help: "signals and plots", run: () => mode.set("signals") },
    { keys: ["c"], help: "comparison", run: () => {
      mode.set("comparison");
      comparing.focus();
    } },
    { keys: ["/"], help: "search", run: inSignals(() => signals.focusSearch()) },
    { keys: ["l"], help: "list of signals", run: inSignals(() => signals.tree.element.focus()) },
    { keys: ["p"], help: "plots", run: inSignals(() => plots.focus()) },
    { keys: ["d"], help: "details of what is chosen", run: inSignals(() => details.focus()) },
    { keys: ["a"], help: "add a plot", run: inSignals(() => plots.add()) },
    { keys: ["x"], help: "remove the active plot", run: inSignals(() => plots.removeActive()) },
    { keys: ["?"], help: "these keys", run: help },
  ];
}

/** Keys of single views, by their titles. */
export const KEYS: readonly (readonly [string, readonly (readonly [string, string])[]])[] = [
  ["In the list", [
    ["↑ ↓, letters", "go to a row"],
    ["← →, *", "close and open groups"],
    ["Space", "show or hide in the plots"],
    ["Enter", "choose: details on the right; once more: to them"],
    ["Esc", "to the plots"],
  ]],
  ["On the signals of a plot", [
    ["Shift+↑, Shift+↓", "to the plot above or below"],
    ["Delete", "hide"],
    ["drag", "to another plot"],
  ]],
  ["On the border of a pane", [
    ["← →, Shift+← →", "move the border"],
    ["Enter", "the usual width"],
  ]],
];
