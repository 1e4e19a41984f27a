// Colours of a pair, from the style sheet and the store.

import type { Look, PairCurves } from "../data/source";
import { pairLooks, visibleColor } from "./colors";
import type { PairColors } from "./content";

/** Reads the colours that hold at this element now, in light or dark. */
export function pairColors(at: HTMLElement, curves: PairCurves): PairColors {
  const style = getComputedStyle(at);
  const color = (name: string): string => style.getPropertyValue(name).trim();
  const chosen: [Look, Look] = [
    { color: color("--first"), dash: "-" },
    { color: color("--second"), dash: "-" },
  ];
  const ground = color("--ground");
  const looks = pairLooks(curves.baseline_look, curves.other_look, chosen);
  const [here, there] = looks.map((look) => ({ ...look, color: visibleColor(look.color, ground) }));
  return {
    looks: [here!, there!],
    band: color("--band"),
    out: color("--out-shade"),
    difference: color("--difference"),
    tolerance: color("--band"),
  };
}
