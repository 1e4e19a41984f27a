// What this window shows, in the part of its address after "#": never the token, which the server
// has taken out of the address, and never what the store holds.

import type { Window } from "../data/source";
import { numberField } from "../state/address";
import type { Address, Fields } from "../state/address";
import type { Atom } from "../state/atom";
import type { Mode } from "./keys";
import { readLayout, writeLayout } from "./layout";
import type { PlotPane } from "./plot_pane";
import type { Chosen, Session } from "./session";
import type { SignalsPane } from "./signals_pane";
import type { GroupColumn } from "./tree_rows";

interface Parts {
  session: Session;
  mode: Atom<Mode>;
  plots: PlotPane;
  signals: SignalsPane;
}

const DELAY = 250; // milliseconds; browsers refuse to change the address more often for long
const COLUMNS: readonly string[] = ["run", "path", "source", "label", "model"];

/** Shows what the address says, and keeps it true. */
export function followAddress(address: Address, parts: Parts): void {
  const { session, mode, plots, signals } = parts;
  let later: ReturnType<typeof setTimeout> | null = null;
  let isFollowing = false;
  const tell = (): void => {
    if (isFollowing) return;
    later ??= setTimeout(() => {
      later = null;
      address.change(written(parts), false);
    }, DELAY);
  };
  const follow = (fields: Fields): void => {
    if (later !== null) return; // the address is about to be told something newer
    if (Object.entries(written(parts)).every(([name, text]) => (fields[name] ?? "") === text)) return;
    isFollowing = true;
    follows(fields, parts);
    isFollowing = false;
  };
  follow(address.fields.get());
  address.fields.watch(follow);
  for (const atom of [session.grouping, session.chosen, mode, plots.layout, plots.window, signals.search]) {
    (atom as Atom<unknown>).watch(tell);
  }
}

function written({ session, mode, plots, signals }: Parts): Fields {
  const { by, descending } = session.grouping.get();
  const window = plots.window.get();
  return {
    view: mode.get() === "signals" ? "" : mode.get(),
    by: by === "run" ? "" : by,
    down: descending ? "1" : "",
    search: signals.search.get(),
    chosen: writeChosen(session.chosen.get()),
    plots: writeLayout(plots.layout.get()),
    t0: window === null ? "" : String(window.first),
    t1: window === null ? "" : String(window.last),
  };
}

function follows(fields: Fields, { session, mode, plots, signals }: Parts): void {
  const by = COLUMNS.includes(fields["by"] ?? "") ? (fields["by"] as GroupColumn) : "run";
  mode.set(fields["view"] === "comparison" ? "comparison" : "signals");
  session.grouping.set({ by, descending: fields["down"] === "1" });
  signals.search.set(fields["search"] ?? "");
  session.chosen.set(readChosen(fields["chosen"] ?? ""));
  plots.arrange(readLayout(fields["plots"] ?? ""));
  plots.setWindow(windowOf(fields));
}

function windowOf(fields: Fields): Window | null {
  const first = numberField(fields, "t0");
  const last = numberField(fields, "t1");
  return first === null || last === null || !(first < last) ? null : { first, last };
}

/** "12" is a signal, "r3" a run. */
export function writeChosen(chosen: Chosen): string {
  return chosen === null ? "" : `${chosen.kind === "run" ? "r" : ""}${chosen.id}`;
}

export function readChosen(text: string): Chosen {
  const [, run, digits] = /^(r?)(\d{1,10})$/.exec(text) ?? [];
  return digits === undefined ? null : { kind: run === "r" ? "run" : "signal", id: Number(digits) };
}
