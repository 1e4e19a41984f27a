// A small store for the tests of the inspector's pure parts.

import type { SignalColumns, StoreState, Sync, Tolerance } from "../src/data/source";
import { StoreView } from "../src/explore/store_view";

export const TOLERANCE: Tolerance = {
  type: 0, absolute: 0, relative: 0.01, start: 0, end: 0, step: 0, initial_absolute: 0, absolute_step: 0,
  initial_relative: 0, relative_step: 0, function_name: "",
};
export const SYNC: Sync = { method: "union", interp: "zoh", interval: 0.01, function_name: "", type: 0 };

/** What a signal of the example has beside the usual. */
export type Given = Partial<{ [Name in keyof SignalColumns]: SignalColumns[Name][number] }> & { id: number };

const USUAL = {
  run: 1, label: "", path: "", model: "", source: "", root_source: "", time_source: "", port: 0, channel: [], sid: "",
  unit: null, parent: null, class: "float64", samples: 2, shape: [], start: 0, end: 1, color: "#ff0000", dash: "-",
  visible: false, tolerance: 0, tolerance_inherited: true, sync: 0, sync_inherited: true, is_date: false, drawable: true,
};

/** Signals in runs 1 "Monday" and 2 "Tuesday". */
export function storeOf(...given: Given[]): StoreView {
  const rows = given.map((one) => ({ ...USUAL, ...one })) as unknown as Record<string, unknown>[];
  const names = Object.keys({ id: 0, ...USUAL });
  const signals = Object.fromEntries(names.map((name) => [name, rows.map((row) => row[name])]));
  const run = (id: number, name: string): StoreState["runs"][number] => ({
    id, name, instance: 1, version: "1", created: "2024-05-01T12:00:00+00:00",
    signals: rows.filter((row) => row["run"] === id).map((row) => row["id"] as number), tolerance: 0, sync: 0,
  });
  return StoreView.of({
    revision: 1, version: "1", files: [], runs: [run(1, "Monday"), run(2, "Tuesday")],
    signals: signals as unknown as SignalColumns, tolerances: [TOLERANCE], syncs: [SYNC],
  });
}
