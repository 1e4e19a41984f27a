// What the tests use of Node; its own declarations are not installed.
declare module "node:test" {
  export function test(name: string, run: () => void | Promise<void>): void;
}
declare module "node:assert/strict" {
  interface Assert {
    (value: unknown, message?: string): asserts value;
    equal(actual: unknown, expected: unknown, message?: string): void;
    deepEqual(actual: unknown, expected: unknown, message?: string): void;
    notEqual(actual: unknown, expected: unknown, message?: string): void;
    throws(run: () => unknown, expected?: RegExp): void;
    rejects(promise: Promise<unknown>, expected?: RegExp): Promise<void>;
  }
  const assert: Assert;
  export default assert;
}
declare module "node:fs" {
  export function readFileSync(path: string, encoding: "utf8"): string;
  export function readdirSync(
    path: string,
    options: { withFileTypes: true },
  ): { name: string; isDirectory(): boolean }[];
}
declare module "node:zlib" {
  export function deflateRawSync(data: Uint8Array): Uint8Array;
}
/** The folder of the sources. */
declare const SOURCES: string;
