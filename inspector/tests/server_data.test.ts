// What the server sends, taken apart.
import assert from "node:assert/strict";
import { test } from "node:test";
import { readBlocks } from "../src/data/blocks";
import { EventReader, listenTo, storeEvent } from "../src/data/event_stream";
import type { Connection } from "../src/data/event_stream";
import { componentsOf, lookOf } from "../src/data/pair_facts";
import { ServerSource } from "../src/data/server";
import type { Verdict } from "../src/data/source";
import { patterns } from "../src/explore/compare_options";
import { NUMBER } from "../src/explore/fields";
import { MOMENT } from "../src/explore/run_details";
import { readChosen, writeChosen } from "../src/explore/window_state";
import { storeOf } from "./store_example";

/** Bytes as the server writes them: each block aligned from the start of the message. */
function encoded(blocks: [string, number, number[], number[]][]): ArrayBuffer {
  const bytes: number[] = [];
  const u32 = (number: number): void => void bytes.push(...new Uint8Array(Uint32Array.of(number).buffer));
  const pad = (multiple: number): void => {
    while (bytes.length % multiple !== 0) bytes.push(0);
  };
  u32(blocks.length);
  for (const [name, flags, times, values] of blocks) {
    const text = new TextEncoder().encode(name);
    u32(text.length);
    bytes.push(...text);
    pad(4);
    u32(flags);
    u32(times.length);
    pad(8);
    bytes.push(...new Uint8Array(Float64Array.from([...times, ...values]).buffer));
  }
  return Uint8Array.from(bytes).buffer;
}

test("blocks of any length of name are read with every number", () => {
  const blocks = readBlocks(encoded([["12.1i", 1, [0, 0.1], [NaN, -0]], ["ü", 0, [], []], ["other", 0, [5e-324], [Infinity]]]));
  assert.deepEqual(blocks.map(({ name, curve }) => [name, curve.thinned, [...curve.times], [...curve.values]]), [
    ["12.1i", true, [0, 0.1], [NaN, -0]], ["ü", false, [], []], ["other", false, [5e-324], [Infinity]],
  ]);
});

test("blocks that end too early are refused", () => {
  const whole = encoded([["1", 0, [0, 1], [2, 3]]]);
  for (let length = 0; length < whole.byteLength; length++) assert.throws(() => readBlocks(whole.slice(0, length)));
});

test("events are read whatever the pieces are in which they come", () => {
  const text = 'event: patch\ndata: {"a":1}\n\n: still here\n\nevent: files\r\ndata: [\r\ndata: ]\r\n\r\ndata:x\n\n';
  const heardOf = (pieces: string[]): [string, string][] => {
    const heard: [string, string][] = [];
    const reader = new EventReader((kind, data) => heard.push([kind, data]));
    for (const piece of pieces) reader.push(piece);
    return heard;
  };
  const whole = heardOf([text]);
  assert.deepEqual(whole, [["patch", '{"a":1}'], ["files", "[\n]"], ["message", "x"]]);
  assert.deepEqual(heardOf([...text]), whole);
  for (let at = 0; at < text.length; at++) assert.deepEqual(heardOf([text.slice(0, at), text.slice(at)]), whole, String(at));
});

test("numbers of settings in a patch are numbers again", () => {
  const event = storeEvent("patch", '{"revision":4,"signals":[{"id":1,"tolerance":{"type":0,"absolute":"Infinity","function_name":"f"}}],"runs":[]}');
  assert.deepEqual(event, {
    kind: "patch", revision: 4, runs: [],
    signals: [{ id: 1, tolerance: { type: 0, absolute: Infinity, function_name: "f" } }],
  });
  assert.equal(storeEvent("news", "{}"), null);
});

// ---- Requests ----

type Asked = { address: string; method: string; body: unknown };

async function withServer(answer: (asked: Asked) => Response | Error, run: (asked: Asked[]) => Promise<void>): Promise<void> {
  const own = globalThis.fetch;
  const asked: Asked[] = [];
  globalThis.fetch = ((address: string, options: RequestInit = {}) => {
    const one = { address, method: options.method ?? "GET", body: options.body ? JSON.parse(String(options.body)) : undefined };
    asked.push(one);
    const made = answer(one);
    return made instanceof Error ? Promise.reject(made) : Promise.resolve(made);
  }) as typeof fetch;
  try {
    await run(asked);
  } finally {
    globalThis.fetch = own;
  }
}

const json = (value: unknown, status = 200): Response => new Response(JSON.stringify(value), { status });

test("numbers that JSON lacks are sent as their names", () =>
  withServer(() => json({ revision: 2 }), async (asked) => {
    assert.equal(await new ServerSource().changeSignals([1], { tolerance: { absolute: Infinity, relative: NaN } }), 2);
    assert.deepEqual(asked, [{ address: "/api/signals", method: "PATCH", body: { ids: [1], tolerance: { absolute: "Infinity", relative: "NaN" } } }]);
  }));

test("a refusal says what the server said, and the next change is sent all the same", () =>
  withServer(({ body }) => ((body as { color: string }).color === "x" ? json({ error: "no such colour" }, 422) : json({ revision: 3 })), async (asked) => {
    const source = new ServerSource();
    const [refused, done] = [source.changeSignals([1], { color: "x" }), source.changeSignals([1], { color: "#000000" })];
    await assert.rejects(refused, /^ServerError: no such colour$|no such colour/);
    assert.equal(await done, 3);
    assert.equal(asked.length, 2);
  }));

test("without a server a request says so", () =>
  withServer(() => new TypeError("fetch failed"), async () => {
    await assert.rejects(new ServerSource().state(), /does not answer/);
  }));

test("more curves than one request takes are asked for in parts, and come in their order", () =>
  withServer(({ address }) => {
    const of = new URL(address, "http://x").searchParams.get("of")!.split(",");
    return new Response(encoded(of.map((name) => [name, 0, [Number(name)], [0]])));
  }, async (asked) => {
    const of = Array.from({ length: 600 }, (_, id) => String(id));
    const curves = await new ServerSource().curves({ of, window: { first: 1, last: 2.5 }, columns: 99.6 });
    assert.deepEqual(curves.map(({ times }) => times[0]), of.map(Number));
    assert.equal(asked.length, 3);
    assert(asked[0]!.address.endsWith("&from=1&to=2.5&columns=100"), asked[0]!.address);
  }));

test("nothing compared is no failure", () =>
  withServer(() => json(null), async () => {
    assert.equal(await new ServerSource().comparison(), null);
  }));

test("readings have numbers where JSON has their names", () =>
  withServer(() => json([[{ index: 1, time: 0.5, value: "-Infinity", next: { index: 2, time: 1, value: [1, "NaN"] } }, null]]), async () => {
    const readings = await new ServerSource().readings(["1"], [0.7, -1]);
    assert.deepEqual(readings, [[{ index: 1, time: 0.5, value: -Infinity, next: { index: 2, time: 1, value: [1, NaN] } }, null]]);
  }));

// ---- The stream of events ----

test("the page is told when the server refuses, when it is gone and when it is back", async () => {
  const answers: (Response | Error)[] = [
    json({ error: "not admitted" }, 401), new TypeError("gone"), new Response('event: hello\ndata: {"revision":5}\n\n'),
  ];
  const states: Connection[] = [];
  const heard: unknown[] = [];
  await withServer(() => answers.shift() ?? new TypeError("gone"), async () => {
    await new Promise<void>((over) => {
      const end = listenTo("/api/events", {
        heard: (event) => heard.push(event),
        connection: (connection) => {
          states.push(connection);
          if (states.length < 4) return;
          end();
          over();
        },
      }, { retry: 1, silence: 1000 });
    });
  });
  assert.deepEqual(states, [{ state: "refused", reason: "not admitted" }, { state: "gone" }, { state: "here" }, { state: "gone" }]);
  assert.deepEqual(heard, [{ kind: "hello", revision: 5 }]);
});

test("a server that is silent for too long counts as gone", async () => {
  const silent = new Response(new ReadableStream());
  const states: string[] = [];
  await withServer(() => silent, async () => {
    await new Promise<void>((over) => {
      const end = listenTo("/api/events", {
        heard: () => undefined,
        connection: ({ state }) => {
          states.push(state);
          if (state !== "gone") return;
          end();
          over();
        },
      }, { retry: 1, silence: 5 });
    });
  });
  assert.deepEqual(states, ["here", "gone"]);
});

// ---- Facts of a pair ----

test("a pair has the looks of its signals, and the shape without trailing ones", () => {
  const { state } = storeOf({ id: 1, color: "#123456", shape: [3, 1], unit: "V" }, { id: 2, color: "#654321", dash: ":" });
  const verdict = { baseline: { id: 1 }, other: { id: 2 }, worst: { component: 2 } } as unknown as Verdict;
  assert.deepEqual(componentsOf(state, verdict), { shape: [3], component: 2 });
  assert.deepEqual(lookOf(state, verdict), {
    baseline_look: { color: "#123456", dash: "-" }, other_look: { color: "#654321", dash: ":" }, unit: "V",
  });
  const alone = { baseline: null, other: { id: 404 }, worst: null } as unknown as Verdict;
  assert.deepEqual(lookOf(state, alone), { baseline_look: null, other_look: null, unit: null });
});

// ---- What is typed ----

test("numbers are typed as people write them, and anything else is refused", () => {
  const numbers: [string, number][] = [["1e-3", 0.001], [" -2.5 ", -2.5], ["−3", -3], ["inf", Infinity], ["-∞", -Infinity], ["NaN", NaN]];
  for (const [text, number] of numbers) assert.equal(NUMBER.read(text), number, text);
  for (const text of ["", "abc", "1,5", "1 2", "--1"]) assert.throws(() => NUMBER.read(text), /not a number/);
});

test("a moment is typed in UTC, with or without a time of day", () => {
  assert.equal(MOMENT.read("2024-05-01 12:30"), "2024-05-01T12:30+00:00");
  assert.equal(MOMENT.read("2024-05-01"), "2024-05-01T00:00+00:00");
  assert.equal(MOMENT.read("2024-05-01T12:30:01.25+02:00"), "2024-05-01T12:30:01.25+02:00");
  assert.equal(MOMENT.write("2024-05-01T12:30:00+00:00"), "2024-05-01 12:30:00");
  for (const text of ["", "yesterday", "01.05.2024", "2024-05-01 noon"]) assert.throws(() => MOMENT.read(text), /UTC/);
});

test("patterns stand between commas, and what is chosen in the address", () => {
  assert.deepEqual(patterns(" car/*, ,*speed "), ["car/*", "*speed"]);
  assert.deepEqual(patterns(""), []);
  assert.deepEqual(readChosen("12"), { kind: "signal", id: 12 });
  assert.deepEqual(readChosen(writeChosen({ kind: "run", id: 3 })), { kind: "run", id: 3 });
  for (const text of ["", "x1", "r", "-1", "1e3", "12345678901"]) assert.equal(readChosen(text), null);
});
