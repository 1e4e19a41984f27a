import assert from "node:assert/strict";
import { test } from "node:test";
import { numberField, readFragment, writeFragment } from "../src/state/address";
import { Atom, derived } from "../src/state/atom";
import { Frames } from "../src/state/frames";

test("an atom tells its watchers of changes and of nothing else", () => {
  const atom = new Atom(1);
  const heard: [number, number][] = [];
  const end = atom.watch((value, before) => heard.push([value, before]));
  atom.set(2);
  atom.set(2);
  end();
  atom.set(3);
  assert.deepEqual(heard, [[2, 1]]);
});

test("a watcher that sets the atom anew keeps later watchers from an old value", () => {
  const atom = new Atom(0);
  const heard: number[] = [];
  atom.watch((value) => {
    if (value === 1) atom.set(2);
  });
  atom.watch((value) => heard.push(value));
  atom.set(1);
  assert.deepEqual(heard, [2]);
});

test("a derived atom follows its sources", () => {
  const width = new Atom(2);
  const height = new Atom("3");
  const area = derived([width, height], () => width.get() * Number(height.get()));
  height.set("5");
  assert.equal(area.get(), 10);
});

test("a frame does the last work of each owner, and new work in the next frame", () => {
  const asked: (() => void)[] = [];
  const frames = new Frames((call) => asked.push(call));
  const owner = {};
  const done: string[] = [];
  frames.schedule(owner, () => done.push("old"));
  frames.schedule(owner, () => {
    done.push("new");
    frames.schedule(owner, () => done.push("next"));
  });
  frames.schedule({}, () => done.push("other"));
  assert.equal(asked.length, 1);
  asked.shift()!();
  assert.deepEqual(done, ["new", "other"]);
  asked.shift()!();
  assert.deepEqual(done, ["new", "other", "next"]);
  assert.equal(asked.length, 0);
});

test("work that fails does not keep a frame's other work from being done", () => {
  const frames = new Frames(() => undefined);
  const { error } = console;
  console.error = () => undefined;
  let isDone = false;
  frames.schedule({}, () => {
    throw new Error("no");
  });
  frames.schedule({}, () => void (isDone = true));
  frames.draw();
  console.error = error;
  assert(isDone);
});

test("an address keeps its fields, also those with marks of addresses in them", () => {
  const fields = { pair: "3", filter: 'a&b=c #"<%', from: "-1.5e-7" };
  assert.deepEqual(readFragment(writeFragment(fields)), fields);
  assert.equal(writeFragment({ filter: "" }), "");
  assert.equal(numberField(fields, "from"), -1.5e-7);
  assert.equal(numberField({ from: "x" }, "from"), null);
  assert.equal(numberField({}, "from"), null);
});
