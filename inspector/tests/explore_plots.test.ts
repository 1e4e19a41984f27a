import assert from "node:assert/strict";
import { test } from "node:test";
import type { Curve, CurveRequest } from "../src/data/source";
import { CurveFeed } from "../src/explore/curve_feed";
import { MOST_COMPONENTS, componentsLeftOut, curveNames } from "../src/explore/curve_names";
import { Latest } from "../src/explore/latest";
import {
  MOST_SIGNALS, commonUnit, contentsOf, curveColor, drawnSignals, extentOfSignals, namesOf,
} from "../src/explore/plot_contents";
import { changeText, legendText, samplesBetween } from "../src/explore/readings_table";
import { storeOf } from "./store_example";

const names = (...given: Parameters<typeof storeOf>): string[] =>
  curveNames(storeOf(...given).signals, 0).map(({ name, suffix }) => `${name} ${suffix}`.trim());

test("a scalar signal has one curve, a complex one two", () => {
  assert.deepEqual(names({ id: 5 }), ["5"]);
  assert.deepEqual(names({ id: 5, shape: [1, 1] }), ["5"]);
  assert.deepEqual(names({ id: 5, class: "complex128" }), ["5 real", "5i imaginary"]);
});

test("components count column by column, and are named by their index", () => {
  assert.deepEqual(names({ id: 5, shape: [2, 3] }), [
    "5.0 [0, 0]", "5.1 [1, 0]", "5.2 [0, 1]", "5.3 [1, 1]", "5.4 [0, 2]", "5.5 [1, 2]",
  ]);
  assert.deepEqual(names({ id: 5, shape: [2], class: "complex64" }), [
    "5.0 [0] real", "5.0i [0] imaginary", "5.1 [1] real", "5.1i [1] imaginary",
  ]);
});

test("of many components the first are drawn, and the others counted", () => {
  const { signals } = storeOf({ id: 5, shape: [100] });
  assert.equal(curveNames(signals, 0).length, MOST_COMPONENTS);
  assert.equal(componentsLeftOut(signals, 0), 100 - MOST_COMPONENTS);
});

test("a text has no curve", () => {
  assert.deepEqual(names({ id: 5, drawable: false }), []);
});

test("ticked signals are drawn; dates and numbers do not share a time axis", () => {
  const view = storeOf(
    { id: 1, visible: true }, { id: 2, visible: true, is_date: true }, { id: 3 }, { id: 4, visible: true, drawable: false },
    { id: 5, visible: true },
  );
  assert.deepEqual(drawnSignals(view), { ids: [1, 5], isDate: false, tooMany: 0, otherTimes: 1 });
});

test("signals beyond what can be drawn are counted", () => {
  const many = storeOf(...Array.from({ length: MOST_SIGNALS + 3 }, (_, id) => ({ id: id + 1, visible: true })));
  const drawn = drawnSignals(many);
  assert.equal(drawn.ids.length, MOST_SIGNALS);
  assert.equal(drawn.tooMany, 3);
});

test("the time axis spans all signals that are drawn, and none without samples", () => {
  const view = storeOf({ id: 1, start: -1, end: 5 }, { id: 2, start: 3, end: 9 }, { id: 3, start: null, end: null });
  assert.deepEqual(extentOfSignals(view, [1, 2, 3]), { first: -1, last: 9 });
  assert.equal(extentOfSignals(view, [3]), null);
});

test("a plot has the curves that have arrived, held or in lines as the signal says", () => {
  const view = storeOf({ id: 1, label: "speed", unit: "m/s", visible: true }, { id: 2, label: "torque", visible: true });
  const curve: Curve = { times: Float64Array.of(0, 1), values: Float64Array.of(1, 2), thinned: false };
  const layout = { plots: [[1, 2], []], active: 0 };
  const [first, second] = contentsOf(view, layout, new Map([["1", curve]]), (color) => color.toUpperCase());
  assert.equal(first?.title, "speed, torque");
  assert.equal(first?.unit, null);
  assert.deepEqual(first?.curves, [{ key: "1", label: "speed", curve, isStepped: true, color: "#FF0000", dash: "-", width: 1.5 }]);
  assert.deepEqual(second?.curves, []);
  assert.deepEqual(namesOf(view, layout), ["1", "2"]);
});

test("an axis has a unit where all of its signals have the same one", () => {
  assert.equal(commonUnit(["V", "V"]), "V");
  assert.equal(commonUnit(["V", "A"]), null);
  assert.equal(commonUnit(["V", null]), null);
  assert.equal(commonUnit([]), null);
});

test("components of one signal have colours of their own, also those of a grey one", () => {
  for (const color of ["#0000ff", "#ff0000", "#808080", "#000000", "#ffffff"]) {
    const colors = Array.from({ length: MOST_COMPONENTS }, (_, component) => curveColor(color, component));
    assert.equal(colors[0], color);
    assert.equal(new Set(colors).size, MOST_COMPONENTS, `${color}: ${colors}`);
    assert(colors.every((one) => /^#[0-9a-f]{6}$/.test(one)), `${color}: ${colors}`);
  }
});

// ---- Fetching ----

function feedOf(answers: CurveRequest[]): { feed: CurveFeed; answer: () => Promise<void> } {
  const waiting: (() => void)[] = [];
  const curve: Curve = { times: Float64Array.of(0, 10), values: Float64Array.of(1, 2), thinned: true };
  const curves = (request: CurveRequest): Promise<Curve[]> => {
    answers.push(request);
    return new Promise((done) => waiting.push(() => done(request.of.map(() => curve))));
  };
  const feed = new CurveFeed({ curves }, () => undefined, (error) => assert.equal(error, undefined));
  const answer = async (): Promise<void> => {
    waiting.shift()?.();
    for (let turn = 0; turn < 20; turn++) await Promise.resolve();
  };
  return { feed, answer };
}

const WHOLE = { first: 0, last: 1000 };

test("a feed has one request in the air, and asks for the newest window after it", async () => {
  const asked: CurveRequest[] = [];
  const { feed, answer } = feedOf(asked);
  const wanted = { names: ["1"], extent: WHOLE };
  for (const first of [0, 100, 200, 300]) feed.show(wanted, { first, last: first + 10 }, 100);
  await Promise.resolve();
  assert.equal(asked.length, 1);
  await answer();
  assert.deepEqual(asked.slice(1).map(({ window }) => window), [{ first: 290, last: 320 }], "three screens of the last");
});

test("other curves are asked for when those in the air have arrived, and old ones are dropped", async () => {
  const asked: CurveRequest[] = [];
  const { feed, answer } = feedOf(asked);
  feed.show({ names: ["1"], extent: WHOLE }, WHOLE, 100);
  await answer();
  await answer();
  assert.deepEqual([...feed.curves.keys()], ["1"]);
  feed.show({ names: ["2", "3"], extent: WHOLE }, WHOLE, 100);
  feed.show({ names: ["3"], extent: WHOLE }, WHOLE, 100);
  await answer();
  await answer();
  await answer();
  assert.deepEqual([...feed.curves.keys()], ["3"]);
  assert.deepEqual(asked[asked.length - 1]?.of, ["3"]);
});

test("other curves wait for the request that is in the air", async () => {
  const asked: CurveRequest[] = [];
  const { feed, answer } = feedOf(asked);
  const turns = async (): Promise<void> => {
    for (let turn = 0; turn < 20; turn++) await Promise.resolve();
  };
  feed.show({ names: ["1"], extent: WHOLE }, WHOLE, 100);
  await turns();
  feed.show({ names: ["2"], extent: WHOLE }, WHOLE, 100);
  await turns();
  assert.deepEqual(asked.map(({ of }) => of), [["1"]]);
  await answer();
  assert.deepEqual(asked.map(({ of }) => of), [["1"], ["2"]]);
});

test("of jobs that are asked for while one runs the last is done", async () => {
  const done: number[] = [];
  const failures: unknown[] = [];
  const latest = new Latest((error) => failures.push(error));
  for (const job of [1, 2, 3]) {
    latest.ask(async () => {
      done.push(job);
      await Promise.resolve();
      if (job === 1) throw new Error("no");
    });
  }
  for (let turn = 0; turn < 20; turn++) await Promise.resolve();
  assert.deepEqual(done, [1, 3]);
  assert.equal(failures.length, 1);
});

// ---- Readings ----

const reading = (index: number, value: number): NonNullable<Parameters<typeof legendText>[0]["cursor"]> =>
  ({ index, time: index / 10, value, next: null });

test("a reading is shown in few digits, with every digit behind it", () => {
  const row = { curve: "1", name: "speed", run: "", unit: null, cursor: reading(3, 0.1 + 0.2), pin: null };
  assert.deepEqual(legendText(row, false), { text: "0.3", hint: "0.30000000000000004, sample 3 at 0.3" });
  assert.equal(legendText({ ...row, cursor: null }, false).text, "–");
});

test("between two cursors the values and samples are subtracted, where both are there", () => {
  assert.equal(changeText(1.5, 4), "2.5");
  assert.equal(changeText(4, 1.5), "-2.5");
  assert.equal(changeText(null, 4), "");
  assert.equal(changeText([1, 2], 4), "");
  assert.equal(samplesBetween(reading(2, 0), reading(7, 0)), 5);
  assert.equal(samplesBetween(reading(7, 0), reading(2, 0)), 5);
  assert.equal(samplesBetween(null, reading(2, 0)), null);
});
