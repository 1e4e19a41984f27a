import assert from "node:assert/strict";
import { test } from "node:test";
import { SearchTexts, sortedPlaces } from "../src/table/rows";

test("rows are sorted by their keys, those without one last in both directions", () => {
  const keys = [3, null, 1, NaN, 2];
  assert.deepEqual(sortedPlaces([0, 1, 2, 3, 4], keys, false), [2, 4, 0, 1, 3]);
  assert.deepEqual(sortedPlaces([0, 1, 2, 3, 4], keys, true), [0, 4, 2, 1, 3]);
});

test("equal keys keep their order, and infinite ones are the largest", () => {
  assert.deepEqual(sortedPlaces([0, 1, 2], [1, 1, 1], true), [0, 1, 2]);
  assert.deepEqual(sortedPlaces([0, 1, 2], [5, Infinity, -Infinity], true), [1, 0, 2]);
});

test("texts are sorted by their letters, numbers in them by their size", () => {
  const keys = ["s10", "S2", "a", "s1"];
  assert.deepEqual(sortedPlaces([0, 1, 2, 3], keys, false), [2, 3, 1, 0]);
});

test("a filter finds the rows that have all words, in any case", () => {
  const texts = new SearchTexts(["Engine speed\nout", "engine torque\nwithin", "Wheel speed\nwithin"]);
  assert.deepEqual(texts.matching(""), [0, 1, 2]);
  assert.deepEqual(texts.matching("  SPEED eng"), [0]);
  assert.deepEqual(texts.matching("speed -engine"), [2]);
  assert.deepEqual(texts.matching('"engine t"'), [1]);
  assert.deepEqual(texts.matching('-"engine speed"'), [1, 2]);
  assert.deepEqual(texts.matching("speed", [1, 2]), [2]);
  assert.deepEqual(texts.matching('-'), []);
});

test("a filter's words are words, never patterns", () => {
  const texts = new SearchTexts(["a.c", "abc", "a*c ("]);
  assert.deepEqual(texts.matching("a.c"), [0]);
  assert.deepEqual(texts.matching("( a*c"), [2]);
});
