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

/** A dialog that lists the hot keys and what the mouse does on plots. */
export function keysHelp(hotKeys: readonly HotKey[]): HTMLDialogElement {
  const row = (keys: string, help: string): HTMLElement =>
    element("div", "fact", {}, element("dt", "", {}, element("kbd", "", {}, keys)), element("dd", "", {}, help));
  const dialog = element(
    "dialog", "help", { "aria-label": "Keys" },
    element("h2", "", {}, "Keys"),
    element("dl", "", {}, ...hotKeys.map(({ keys, help }) => row(keys.join(", "), help))),
    element("h2", "", {}, "On the plots"),
    element("dl", "", {}, ...ON_PLOTS.map(([keys, help]) => row(keys, help))),
  );
  dialog.append(button("Close", "tool", "Close (Esc)", () => dialog.close()));
  return dialog;
}
