import assert from "node:assert/strict";
import { test } from "node:test";
import { nextWidth } from "../src/report/separator";

const LIMITS = { least: 190, most: 500 };
const pressed = (key: string, width: number, isLeft = false, shiftKey = false): number | undefined =>
  nextWidth({ key, shiftKey }, width, LIMITS, isLeft);

test("arrows move a separator in their direction: the pane to its left grows to the right", () => {
  assert(pressed("ArrowRight", 300)! > 300 && pressed("ArrowLeft", 300)! < 300);
  assert(pressed("ArrowRight", 300, true)! < 300 && pressed("ArrowLeft", 300, true)! > 300);
  assert(pressed("ArrowRight", 300, false, true)! > pressed("ArrowRight", 300)!);
});

test("no key makes a pane narrower or wider than the limits, which Home and End go to", () => {
  assert.equal(pressed("ArrowLeft", 195), 190);
  assert.equal(pressed("ArrowRight", 495), 500);
  assert.deepEqual([pressed("Home", 300), pressed("End", 300)], [190, 500]);
  // A window so narrow that the limits cross has the least width.
  assert.equal(nextWidth({ key: "End", shiftKey: false }, 190, { least: 190, most: 150 }, false), 190);
});

test("other keys are left alone", () => {
  assert.deepEqual(["s", "Tab", "+", "Escape"].map((key) => pressed(key, 300)), [undefined, undefined, undefined, undefined]);
});
