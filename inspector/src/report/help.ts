// The list of keys, in a dialog.

import { button, element } from "../dom";
import type { HotKey } from "../state/keys";

const ON_PLOTS: readonly (readonly [string, string])[] = [
  ["drag, wheel", "zoom"],
  ["Shift+drag, Shift+wheel, ← →", "pan"],
  ["+ −", "zoom at the cursor"],
  ["double click, Home", "all of the time"],
  ["click, Enter", "pin the cursor"],
  ["[ ]", "cursor from sample to sample"],
  ["Esc", "remove the cursors"],
];

/** Keys of one view: its title, and what keys do. */
type Section = readonly [string, readonly (readonly [string, string])[]];

/** A dialog that lists the hot keys, those of other views, and what the mouse does on plots. */
export function keysHelp(hotKeys: readonly HotKey[], others: readonly Section[] = []): HTMLDialogElement {
  const row = (keys: string, help: string): HTMLElement =>
    element("div", "fact", {}, element("dt", "", {}, element("kbd", "", {}, keys)), element("dd", "", {}, help));
  const dialog = element(
    "dialog", "help", { "aria-label": "Keys" },
    element("h2", "", {}, "Keys"),
    element("dl", "", {}, ...hotKeys.map(({ keys, help }) => row(keys.join(", "), help))),
    ...[...others, ["On the plots", ON_PLOTS] as const].flatMap(([title, rows]) => [
      element("h2", "", {}, title),
      element("dl", "", {}, ...rows.map(([keys, help]) => row(keys, help))),
    ]),
  );
  dialog.append(button("Close", "tool", "Close (Esc)", () => dialog.close()));
  return dialog;
}
