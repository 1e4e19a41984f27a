import assert from "node:assert/strict";
import { test } from "node:test";
import type { Window } from "../src/data/source";
import { WindowFetcher } from "../src/plot/fetching";

const EXTENT = { first: 0, last: 1000 };

/** A fetch that is answered by hand. */
class Server {
  readonly asked: { window: Window; columns: number; answer: (isThinned: boolean) => void; refuse: (error: Error) => void }[] = [];
  readonly failures: unknown[] = [];
  readonly fetcher = new WindowFetcher(
    EXTENT,
    (window, columns) => new Promise((answer, refuse) => this.asked.push({ window, columns, answer, refuse })),
    (error) => this.failures.push(error),
  );
  async answer(isThinned: boolean): Promise<void> {
    this.asked.at(-1)!.answer(isThinned);
    await new Promise((later) => setTimeout(later));
  }
}

test("three screens are fetched around the one that is shown", () => {
  const server = new Server();
  server.fetcher.show({ first: 400, last: 500 }, 800);
  assert.deepEqual(server.asked[0]?.window, { first: 300, last: 600 });
  assert.equal(server.asked[0]?.columns, 2400);
});

test("one request is in the air, and only the newest window is asked for after it", async () => {
  const server = new Server();
  for (const first of [0, 100, 200, 300, 400]) server.fetcher.show({ first, last: first + 10 }, 100);
  assert.equal(server.asked.length, 1);
  await server.answer(true);
  assert.equal(server.asked.length, 2);
  assert.deepEqual(server.asked[1]?.window, { first: 390, last: 420 });
});

test("panning within what was fetched asks for nothing, zooming in asks for more", async () => {
  const server = new Server();
  server.fetcher.show({ first: 400, last: 500 }, 100);
  await server.answer(true);
  server.fetcher.show({ first: 450, last: 550 }, 100);
  assert.equal(server.asked.length, 1);
  server.fetcher.show({ first: 450, last: 460 }, 100);
  assert.equal(server.asked.length, 2);
});

test("zooming into samples that are all there asks for nothing", async () => {
  const server = new Server();
  server.fetcher.show({ first: 400, last: 500 }, 100);
  await server.answer(false);
  server.fetcher.show({ first: 450, last: 451 }, 100);
  assert.equal(server.asked.length, 1);
});

test("a failure is told once, and the next window tries again", async () => {
  const server = new Server();
  server.fetcher.show({ first: 400, last: 500 }, 100);
  server.asked[0]!.refuse(new Error("gone"));
  await new Promise((later) => setTimeout(later));
  assert.equal(server.failures.length, 1);
  server.fetcher.show({ first: 400, last: 500 }, 100);
  assert.equal(server.asked.length, 2);
});

test("an answer from before the samples changed is not held", async () => {
  const server = new Server();
  server.fetcher.show({ first: 400, last: 500 }, 100);
  server.fetcher.forget();
  await server.answer(false);
  assert.equal(server.asked.length, 2);
});
