import assert from "node:assert/strict";
import { test } from "node:test";
import { cursorDate, dateText, durationText, exactTimeText, timeText } from "../src/text/dates";
import { countText, counted, exactNumber, exactValue, shortNumber } from "../src/text/numbers";
import { shown, shownShort } from "../src/text/shown";

test("short numbers have the digits that were asked for", () => {
  const pairs: [number, string][] = [
    [0, "0"], [1, "1"], [-2.5, "-2.5"], [123456, "123456"], [1234567, "1.23457e6"], [0.000123, "0.000123"],
    [1.5e-9, "1.5e-9"], [99999.96, "100000"], [999999.9, "1e6"], [NaN, "NaN"], [-Infinity, "-Infinity"], [-0, "0"],
  ];
  for (const [number, text] of pairs) assert.equal(shortNumber(number), text);
  assert.equal(shortNumber(2 / 3, 3), "0.667");
});

test("exact numbers read back to the same double", () => {
  for (const number of [0.1 + 0.2, 1e-320, -1.7976931348623157e308, 2 ** 53 + 2]) {
    assert.equal(Number(exactNumber(number)), number);
  }
  assert.equal(exactNumber(-0), "-0");
  assert.deepEqual([exactValue([1, 2]), exactValue([1, -2]), exactValue([0, -0])], ["1+2i", "1-2i", "0-0i"]);
});

test("counts are grouped and counted", () => {
  assert.equal(countText(1234567), "1\u2009234\u2009567");
  assert.deepEqual([counted(1, "value"), counted(2, "value")], ["1 value", "2 values"]);
});

test("dates are told in UTC, as far as they are not zero", () => {
  assert.equal(dateText(0), "1970-01-01");
  assert.equal(dateText(1467158400.5), "2016-06-29 00:00:00.5");
  assert.equal(dateText(-1), "1969-12-31 23:59:59");
  assert.equal(dateText(0.9999999), "1970-01-01 00:00:01");
  assert.equal(dateText(-62135596800), "0001-01-01");
  assert.equal(dateText(1e18), "1000000000000000000");
  assert.equal(dateText(NaN), "NaN");
  assert.equal(timeText(0.1, false), "0.1");
  assert.equal(exactTimeText(0.1 + 0.2, false), "0.30000000000000004");
});

test("stretches of dates are told in the largest unit that fits", () => {
  assert.deepEqual([86400 * 3, 90, 0.25, 0].map((one) => durationText(one, true)), ["3 d", "1.5 min", "250 ms", "0 s"]);
  assert.equal(durationText(86400, false), "86400");
});

test("control characters and marks of direction are shown, never obeyed", () => {
  assert.equal(shown("a\u0000b\n\u007f\u0085"), "a␀b␊␡⟨0085⟩");
  assert.equal(shown("abc\u202Egnp.exe"), "abc⟨202E⟩gnp.exe");
  assert.equal(shown("\ud800x"), "⟨D800⟩x");
  assert.equal(shown("größe 速度 שלום 😀 <b>"), "größe 速度 שלום 😀 <b>");
});

test("a long text is cut before it is shown", () => {
  assert.equal(shownShort("x".repeat(1e6), 5), "xxxx…");
  assert.equal(shownShort("12345", 5), "12345");
});

test("a date under the pointer is told as finely as a pixel of the plots", () => {
  const time = Date.UTC(2024, 4, 1, 12, 30, 15) / 1000 + 0.25;
  assert.equal(cursorDate(time, 10 * 86400), "2024-05-01");
  assert.equal(cursorDate(time, 3600), "2024-05-01 12:30:00");
  assert.equal(cursorDate(time, 3), "2024-05-01 12:30:15");
  assert.equal(cursorDate(time, 0.001), "2024-05-01 12:30:15.25");
  // The instant of a sample is its own, not the one before it.
  assert.equal(cursorDate(Date.UTC(2015, 8, 1) / 1000, 18 * 86400), "2015-09-01");
});
