import assert from "node:assert/strict";
import { test } from "node:test";
import { EMPTY, added, moved, plotOf, readLayout, removed, settled, writeLayout } from "../src/explore/layout";
import type { Layout } from "../src/explore/layout";

const UNITS: Record<number, string | null> = { 1: "m/s", 2: "m/s", 3: "Nm", 4: "V", 5: "A", 6: "s" };
const unitOf = (id: number): string | null => UNITS[id] ?? null;
const layout = (active: number, ...plots: number[][]): Layout => ({ plots, active });

test("signals of one unit share a plot, others get plots of their own up to four", () => {
  const made = settled(EMPTY, [1, 2, 3, 4, 5, 6], unitOf);
  assert.deepEqual(made.plots, [[1, 2, 6], [3], [4], [5]]);
});

test("a signal goes to the empty plot that was added for it", () => {
  const made = settled(added(layout(0, [1])), [1, 2], unitOf);
  assert.deepEqual(made, layout(1, [1], [2]));
});

test("a plot whose last signal is hidden goes; one that was empty before stays", () => {
  assert.deepEqual(settled(layout(1, [1], [3]), [1], unitOf), layout(0, [1]));
  assert.deepEqual(settled(layout(0, [1], []), [1], unitOf).plots, [[1], []]);
  assert.deepEqual(settled(layout(0, [1]), [], unitOf).plots, [[]]);
});

test("the active plot is still the active one when another one goes", () => {
  assert.equal(settled(layout(2, [1], [3], [4]), [1, 4], unitOf).active, 1);
});

test("a settled layout stays as it is", () => {
  const made = layout(0, [1, 2], [3]);
  assert.deepEqual(settled(made, [1, 2, 3], unitOf), made);
});

test("a signal moves to another plot, or to a new one beyond either end", () => {
  assert.deepEqual(moved(layout(0, [1, 2], [3]), 2, 1), layout(1, [1], [3, 2]));
  assert.deepEqual(moved(layout(0, [1, 2]), 2, 1), layout(1, [1], [2]));
  assert.deepEqual(moved(layout(0, [1, 2]), 2, -1), layout(0, [2], [1]));
  assert.deepEqual(moved(layout(0, [1], [3]), 1, 1), layout(0, [3, 1]), "the plot that it leaves empty goes");
});

test("a signal alone in an outer plot does not move beyond it, nor one that is not shown", () => {
  const before = layout(0, [1], [3]);
  assert.equal(moved(before, 1, -1), before);
  assert.equal(moved(before, 3, 2), before);
  assert.equal(moved(before, 99, 0), before);
});

test("adding a plot twice gives one empty plot, and removing the last one leaves an empty one", () => {
  const once = added(layout(0, [1]));
  assert.deepEqual(added(once), once);
  assert.deepEqual(removed(layout(0, [1]), 0), EMPTY);
  assert.deepEqual(removed(layout(1, [1], [3], [4]), 0), layout(0, [3], [4]));
});

test("an address keeps a layout, and nonsense in it is left out", () => {
  const made = layout(0, [1, 2], [], [3]);
  assert.deepEqual(readLayout(writeLayout(made)), made);
  assert.deepEqual(readLayout("1.1~1.0.2"), layout(0, [1], [2]));
  assert.deepEqual(readLayout("<script>"), EMPTY);
  assert.deepEqual(readLayout(""), EMPTY);
  assert.equal(plotOf(made, 3), 2);
  assert.equal(plotOf(made, 9), null);
});
