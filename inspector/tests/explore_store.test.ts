import assert from "node:assert/strict";
import { test } from "node:test";
import { SYNC, TOLERANCE, storeOf } from "./store_example";

test("a patch changes what it names and shares every other column", () => {
  const before = storeOf({ id: 7 }, { id: 9 });
  const after = before.patched([{ id: 9, visible: true }], [], 2);
  assert.deepEqual(after.signals.visible, [false, true]);
  assert.deepEqual(before.signals.visible, [false, false]);
  assert.equal(after.signals.color, before.signals.color);
  assert.equal(after.state.revision, 2);
});

test("a patch that changes nothing gives the same view, so that nothing is drawn anew", () => {
  const before = storeOf({ id: 7, color: "#00ff00" });
  assert.equal(before.patched([{ id: 7, color: "#00ff00", visible: false }], [], 2), before);
});

test("a patch of a signal that is gone is left out", () => {
  const before = storeOf({ id: 7 });
  assert.equal(before.patched([{ id: 8, visible: true }], [{ id: 99, name: "x" }], 2), before);
});

test("settings in a patch come as records, and equal records are kept once", () => {
  const own = { ...TOLERANCE, absolute: NaN };
  const before = storeOf({ id: 7 }, { id: 9 });
  const after = before.patched(
    [{ id: 7, tolerance: own, tolerance_inherited: false }, { id: 9, tolerance: { ...own } }], [], 2,
  );
  assert.deepEqual(after.signals.tolerance, [1, 1]);
  assert.equal(after.tolerance(0).absolute, NaN);
  assert.equal(after.state.tolerances.length, 2);
  assert.equal(after.signals.tolerance_inherited[0], false);
  assert.deepEqual(after.sync(0), SYNC);
});

test("a run is renamed, and its settings are found in the tables", () => {
  const before = storeOf({ id: 7 });
  const after = before.patched([], [{ id: 1, name: "Friday", tolerance: { ...TOLERANCE, relative: 0.5 } }], 2);
  assert.equal(after.run(1)?.name, "Friday");
  assert.equal(after.runTolerance(after.run(1)!)?.relative, 0.5);
  assert.equal(before.run(1)?.name, "Monday");
  assert.equal(after.run(2), before.run(2));
});

test("what is foreseen of a change can be undone exactly", () => {
  const before = storeOf({ id: 7, color: "#111111" }, { id: 9, color: "#222222" });
  const { patches, undo } = before.foreseen([7, 9, 404], { color: "#333333", tolerance: null });
  const changed = before.patched(patches, [], 2);
  assert.deepEqual(changed.signals.color, ["#333333", "#333333"]);
  assert.deepEqual(changed.signals.tolerance_inherited, [true, true], "settings are left to the server");
  assert.deepEqual(changed.patched(undo, [], 3).signals, before.signals);
});
