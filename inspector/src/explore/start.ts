// The inspector: what the page is when a server sent it.

import "../styles/explore.css";
import "../styles/signals.css";
import "../styles/plot_pane.css";
import "../styles/details.css";
import "../styles/compare.css";
import { ServerSource } from "../data/server";
import { button, element, fill } from "../dom";
import { keysHelp } from "../report/help";
import { Separator } from "../report/separator";
import { Address } from "../state/address";
import { Atom } from "../state/atom";
import { bindKeys } from "../state/keys";
import { Banner } from "./banner";
import { ComparePane } from "./compare_pane";
import { DetailsPane } from "./details_pane";
import { KEYS, hotKeys } from "./keys";
import type { Mode } from "./keys";
import { PlotPane } from "./plot_pane";
import { SaveMenu } from "./save_menu";
import { Session } from "./session";
import { SignalsPane } from "./signals_pane";
import { followAddress } from "./window_state";

/** Shows the inspector in `root`. */
export function startInspector(root: HTMLElement): void {
  const session = new Session(new ServerSource());
  const address = new Address(globalThis.window);
  const mode = new Atom<Mode>("signals");
  const plots = new PlotPane(session);
  const signals = new SignalsPane(session, () => plots.focus(), () => details.focus());
  const comparing = new ComparePane(session, address);
  const details = new DetailsPane(
    session, plots,
    (run) => {
      mode.set("comparison");
      comparing.choose(run);
    },
    () => signals.tree.element.focus(),
  );
  const separators = [
    new Separator({ label: "Width of the signals", pane: signals.element, isLeft: false, property: "--signals-width" }),
    new Separator({ label: "Width of the details", pane: details.element, isLeft: true, property: "--details-width" }),
  ];
  const explore = element("main", "explore", {},
    signals.element, separators[0]!.element, plots.element, separators[1]!.element, details.element);
  for (const separator of separators) separator.restore();
  // A comparison that is shown has a help of its own.
  const showHelp = (): void => {
    if (mode.get() !== "comparison" || !comparing.showHelp()) help.showModal();
  };
  const keys = hotKeys({ mode, signals, plots, details, comparing, help: showHelp });
  const help = keysHelp(keys, KEYS);
  const tabs = modeButtons(mode);
  fill(
    root,
    element("header", "bar", {}, element("h1", "brand", {}, "kvr"), tabs,
      plots.tools, element("span", "space"),
      new SaveMenu(session, () => plots.picture()).element,
      button("?", "tool", "Keys (?)", showHelp)),
    new Banner(session).element, explore, comparing.element, help,
  );
  root.classList.add("inspector");
  bindKeys(document, keys, () => document.querySelector("dialog[open]") === null);
  mode.watch((now) => {
    explore.hidden = plots.tools.hidden = now !== "signals";
    comparing.element.hidden = now !== "comparison";
  });
  session.chosen.watch((chosen) => explore.classList.toggle("with-details", chosen !== null));
  // A window that asks for nothing else begins with the comparison that it was opened for.
  const isPlain = Object.keys(address.fields.get()).length === 0;
  const end = session.compared.watch(({ comparison }) => {
    end();
    if (isPlain && comparison !== null) mode.set("comparison");
  });
  followAddress(address, { session, mode, plots, signals });
  session.start();
}

function modeButtons(mode: Atom<Mode>): HTMLElement {
  const made = ([["signals", "Signals"], ["comparison", "Comparison"]] as const).map(([name, text]) => {
    const one = button(text, "mode", name === "signals" ? "Signals and plots (s)" : "Compare two runs (c)", () => mode.set(name));
    const show = (): void => one.setAttribute("aria-pressed", String(mode.get() === name));
    mode.watch(show);
    show();
    return one;
  });
  return element("nav", "modes", { "aria-label": "Views" }, ...made);
}
