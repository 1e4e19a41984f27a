import assert from "node:assert/strict";
import { test } from "node:test";
import { dateTicks, niceStep, numberTicks } from "../src/plot/ticks";

const seconds = (text: string): number => Date.parse(text) / 1000;

test("number ticks are multiples of 1, 2 or 5 and stand at what they say", () => {
  assert.deepEqual(numberTicks(0, 1, 5), { places: [0, 0.2, 0.4, 0.6, 0.8, 1], texts: ["0", "0.2", "0.4", "0.6", "0.8", "1"] });
  assert.deepEqual(numberTicks(-7, 7, 3).places, [-5, 0, 5]);
  for (const [low, high] of [[0, 1e-9], [1e15, 1.1e15], [1, 1 + 1e-9], [-1e300, 1e300], [123456.7, 123456.8], [-3e-5, 2e-5]]) {
    const { places, texts } = numberTicks(low!, high!, 6);
    assert(places.length >= 2 && places.length <= 14, `${places.length} ticks from ${low} to ${high}`);
    texts.forEach((text, index) => assert.equal(Number(text), places[index], text));
    assert.equal(new Set(texts).size, texts.length);
    assert(places.every((place, index) => place >= low! && place <= high! && (index === 0 || place > places[index - 1]!)));
  }
});

test("number ticks of one axis share their exponent", () => {
  assert.deepEqual(numberTicks(4e5, 1.3e6, 5).texts, ["0.4e6", "0.6e6", "0.8e6", "1e6", "1.2e6"]);
});

test("an axis without a span has no ticks", () => {
  assert.deepEqual(numberTicks(1, 1, 5).places, []);
  assert.deepEqual(numberTicks(NaN, 1, 5).places, []);
  assert.deepEqual(numberTicks(-1.7e308, 1.7e308, 5).places, []);
});

test("the step is the smallest nice one that is large enough", () => {
  assert.deepEqual([0.11, 0.2, 0.21, 5, 5.1, 99].map(niceStep), [0.2, 0.2, 0.5, 5, 10, 100]);
});

test("date ticks are round in UTC", () => {
  const months = dateTicks(seconds("2016-01-15T00:00Z"), seconds("2016-06-20T00:00Z"), 6);
  assert.deepEqual(months.texts, ["2016-02", "2016-03", "2016-04", "2016-05", "2016-06"]);
  assert.equal(months.places[0], seconds("2016-02-01T00:00Z"));
  const years = dateTicks(seconds("1985-03-01T00:00Z"), seconds("2016-06-20T00:00Z"), 7);
  assert.deepEqual(years.texts, ["1990", "1995", "2000", "2005", "2010", "2015"]);
  const days = dateTicks(seconds("2016-02-27T00:00Z"), seconds("2016-03-02T00:00Z"), 5);
  assert.deepEqual(days.texts, ["2016-02-27", "2016-02-28", "2016-02-29", "2016-03-01", "2016-03-02"]);
});

test("the day stands where it changes", () => {
  const { texts } = dateTicks(seconds("2016-02-28T18:00Z"), seconds("2016-02-29T06:00Z"), 5);
  assert.deepEqual(texts, ["18:00\n2016-02-28", "21:00", "00:00\n2016-02-29", "03:00", "06:00"]);
});

test("dates far apart, far away and within a second have ticks", () => {
  assert.deepEqual(dateTicks(-60e9, 60e9, 6).texts, ["1000", "2000", "3000"]);
  const parts = dateTicks(seconds("2016-02-28T18:00:00Z"), seconds("2016-02-28T18:00:01Z"), 4);
  assert.equal(parts.texts[1], "18:00:00.5");
  assert.deepEqual(dateTicks(1e15, 2e15, 4).texts, numberTicks(1e15, 2e15, 4).texts);
});
