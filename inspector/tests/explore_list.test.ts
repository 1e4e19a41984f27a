import assert from "node:assert/strict";
import { test } from "node:test";
import { groupRank, marked, rankOfTyped, tickOf, treeGroups, treeRows } from "../src/explore/tree_rows";
import { storeOf } from "./store_example";

const STORE = storeOf(
  { id: 11, label: "speed", path: "car" }, { id: 12, label: "torque", path: "car" },
  { id: 21, run: 2, label: "speed", path: "car" }, { id: 22, run: 2, label: "note" },
);
const BY_PATH = [{ name: "", ids: [22] }, { name: "car", ids: [11, 12, 21] }];

test("groups have the server's order, and places in place of ids", () => {
  assert.deepEqual(treeGroups(STORE, BY_PATH, "path"), [
    { key: "", name: "", run: null, places: [3] },
    { key: "car", name: "car", run: null, places: [0, 1, 2] },
  ]);
});

test("signals that went since the groups were asked for are left out", () => {
  assert.deepEqual(treeGroups(STORE, [{ name: "car", ids: [404, 12] }], "path")[0]?.places, [1]);
});

test("runs that share a name are groups of their own", () => {
  const groups = treeGroups(STORE, [{ name: "Monday", ids: [1, 2] }], "run");
  assert.deepEqual(groups.map(({ run, places }) => [run, places]), [[1, [0, 1]], [2, [2, 3]]]);
  assert.notEqual(groups[0]?.key, groups[1]?.key);
});

test("rows are groups and below them their signals; closed groups keep theirs", () => {
  const groups = treeGroups(STORE, BY_PATH, "path");
  assert.deepEqual(treeRows(groups, new Set(), null), [-1, 3, -2, 0, 1, 2]);
  assert.deepEqual(treeRows(groups, new Set(["car"]), null), [-1, 3, -2]);
});

test("a search leaves out signals, and groups without a match", () => {
  const groups = treeGroups(STORE, BY_PATH, "path");
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
