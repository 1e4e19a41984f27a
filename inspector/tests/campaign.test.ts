// What the page over all pairs makes of its data.
import assert from "node:assert/strict";
import { test } from "node:test";

import { COLUMNS, excessText, rowsOf, searchText, sharedFolder } from "../src/campaign/rows";
import type { CampaignData } from "../src/campaign/rows";

const DATA: CampaignData = {
  kind: "campaign",
  title: "base against today",
  made: "2026-11-22T06:00:00+00:00",
  options: {},
  counts: { differs: 2, passed: 1 },
  signals: { within: 3, out: 2 },
  columns: {
    status: ["differs", "differs", "passed"],
    baseline: ["base/a.csv", "base/sub/b.csv", "base/c.csv"],
    other: ["today/a.csv", "today/sub/b.csv", "today/c.csv"],
    what: ["speed: lost", "speed: out at 1 of 2 instants", ""],
    excess: ["NaN", 1.5, null],
    first_out: [0, 1, null],
    failed: [1, 1, 0],
    compared: [2, 2, 1],
    seconds: [0.1, 0.2, 0.3],
    report: ["pairs/a.csv-0123456789abcdef.html", null, null],
  },
};

test("rows have what the columns have, in their order", () => {
  const rows = rowsOf(DATA);
  assert.deepEqual(rows.map(({ name }) => name), ["a.csv", "sub/b.csv", "c.csv"]);
  assert.deepEqual(rows.map(({ excess }) => excess), [NaN, 1.5, null]);
  assert.deepEqual(rows.map(({ report }) => report), ["pairs/a.csv-0123456789abcdef.html", null, null]);
  assert.equal(rows[1]?.seconds, 0.2);
});

test("an infinite difference is not called lost, and both are further out than any other", () => {
  assert.deepEqual([NaN, Infinity, 1.5, null].map(excessText), ["lost", "infinite", "1.5", ""]);
  const sortKey = COLUMNS.find(({ key }) => key === "excess")!.sortKey!;
  assert.equal(sortKey(rowsOf(DATA)[0]!), Infinity);
});

test("a row is found by its names, its status and what is wrong", () => {
  const text = searchText(rowsOf(DATA)[1]!);
  for (const word of ["base/sub/b.csv", "today/sub/b.csv", "differs", "1 of 2 instants"]) assert(text.includes(word));
});

test("the shared folder is what all paths begin with, up to a slash", () => {
  assert.equal(sharedFolder(["/a/b/c.csv", "/a/b/d/e.csv"]), "/a/b/");
  assert.equal(sharedFolder(["/a/bc/c.csv", "/a/bd/e.csv"]), "/a/");
  assert.equal(sharedFolder(["a.csv", "b.csv"]), "");
  assert.equal(sharedFolder(["/a/b.csv", "c.csv"]), "");
  assert.equal(sharedFolder(["/a/b.csv"]), "/a/");
  assert.equal(sharedFolder([]), "");
});
