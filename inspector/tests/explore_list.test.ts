import assert from "node:assert/strict";
import { test } from "node:test";
import { compareBytes, groupRank, marked, rankOfTyped, tickOf, treeGroups, treeRows } from "../src/explore/tree_rows";
import { storeOf } from "./store_example";

const STORE = storeOf(
  { id: 11, label: "speed", path: "car" }, { id: 12, label: "torque", path: "car" },
  { id: 21, run: 2, label: "speed", path: "car" }, { id: 22, run: 2, label: "note" },
);

test("groups have the order of their names, signals that of the store", () => {
  assert.deepEqual(treeGroups(STORE, "path", false), [
    { key: "", name: "", run: null, places: [3] },
    { key: "car", name: "car", run: null, places: [0, 1, 2] },
  ]);
  assert.deepEqual(treeGroups(STORE, "label", true).map(({ name, places }) => [name, places]), [
    ["torque", [1]], ["speed", [0, 2]], ["note", [3]],
  ]);
});

test("runs have the order of their creation, and those that share a name are groups of their own", () => {
  const same = STORE.patched([], [{ id: 2, name: "Monday" }], 2);
  const groups = treeGroups(same, "run", false);
  assert.deepEqual(groups.map(({ name, run, places }) => [name, run, places]), [["Monday", 1, [0, 1]], ["Monday", 2, [2, 3]]]);
  assert.notEqual(groups[0]?.key, groups[1]?.key);
  assert.deepEqual(treeGroups(same, "run", true).map(({ run }) => run), [2, 1]);
});

test("names are ordered by their bytes in UTF-8, where a browser orders by halves of characters", () => {
  const names = ["", "A", "Z", "a", "a\u0000", "ab", "é", "\u{e000}", "\u{ffff}", "\u{10000}", "\u{1f600}", "\u{1f600}a"];
  const bytes = (text: string): number[] => [...new TextEncoder().encode(text)];
  assert.deepEqual([...names].sort(), ["", "A", "Z", "a", "a\u0000", "ab", "é", "\u{10000}", "\u{1f600}", "\u{1f600}a", "\u{e000}", "\u{ffff}"]);
  assert.deepEqual([...names].reverse().sort(compareBytes), names);
  for (const [place, name] of names.entries()) {
    for (const other of names.slice(place + 1)) {
      const first = bytes(name).findIndex((byte, at) => byte !== bytes(other)[at]);
      const isBefore = first < 0 || bytes(name)[first]! < (bytes(other)[first] ?? -1);
      assert.equal(compareBytes(name, other) < 0, isBefore, `${name} ${other}`);
    }
  }
});

test("rows are groups and below them their signals; closed groups keep theirs", () => {
  const groups = treeGroups(STORE, "path", false);
  assert.deepEqual(treeRows(groups, new Set(), null), [-1, 3, -2, 0, 1, 2]);
  assert.deepEqual(treeRows(groups, new Set(["car"]), null), [-1, 3, -2]);
});

test("a search leaves out signals, and groups without a match", () => {
  const groups = treeGroups(STORE, "path", false);
  assert.deepEqual(treeRows(groups, new Set(), marked([0, 2], 4)), [-2, 0, 2]);
  assert.deepEqual(treeRows(groups, new Set(), marked([], 4)), []);
});

test("the tick of a group is mixed where only some of its signals are shown", () => {
  const visible = [true, false, true];
  assert.equal(tickOf([0, 2], visible), "true");
  assert.equal(tickOf([1], visible), "false");
  assert.equal(tickOf([0, 1], visible), "mixed");
  assert.equal(tickOf([1, 0], visible), "mixed");
  assert.equal(tickOf([], visible), "false");
});

test("left goes from a signal to its group", () => {
  assert.equal(groupRank([-1, 3, -2, 0, 1], 4), 2);
  assert.equal(groupRank([-1, 3], 0), 0);
});

test("typing goes to the next row with that beginning, and round the end", () => {
  const rows = [-1, 0, 1, 2];
  const text = (row: number): string => ["speed", "Torque", "spin"][row] ?? "car";
  assert.equal(rankOfTyped(rows, 0, "s", text), 1);
  assert.equal(rankOfTyped(rows, 1, "s", text), 3, "one letter again: the next");
  assert.equal(rankOfTyped(rows, 3, "s", text), 1, "round the end");
  assert.equal(rankOfTyped(rows, 1, "sp", text), 1, "typing on stays where it fits");
  assert.equal(rankOfTyped(rows, 1, "spi", text), 3);
  assert.equal(rankOfTyped(rows, 0, "TO", text), 2);
  assert.equal(rankOfTyped(rows, 0, "z", text), null);
});
