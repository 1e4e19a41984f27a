// Tolerance and synchronisation options of a signal or a run, with all their fields. A record is
// always sent whole: the store keeps it whole.

import type { Sync, Tolerance } from "../data/source";
import { element } from "../dom";
import { NUMBER, TEXT, choice, entry } from "./fields";
import type { Field } from "./fields";

type Send<T> = (record: T) => Promise<void>;

/** A field of a record, and where it is shown. */
interface Part<T> {
  field: { element: HTMLElement };
  show: (record: T) => void;
  isFor: (record: T) => boolean;
}

/** Shows one record; each field sends it with that field changed. */
class RecordForm<T extends object> {
  readonly element = element("div", "fields");
  private record: T | null = null;
  private readonly parts: Part<T>[] = [];
  private last: Promise<void> = Promise.resolve();

  constructor(private readonly send: Send<T>) {}

  show(record: T): void {
    this.record = record;
    for (const part of this.parts) {
      part.show(record);
      part.field.element.hidden = !part.isFor(record);
    }
  }

  /** Changes follow each other: the next one begins with the record that the last one made. */
  protected with(change: Partial<T>): Promise<void> {
    const sent = this.last.then(async () => {
      if (this.record === null) return;
      const next = { ...this.record, ...change };
      await this.send(next);
      this.record = next;
    });
    this.last = sent.catch(() => undefined);
    return sent;
  }

  protected add<V>(field: Field<V>, value: (record: T) => V, isFor: (record: T) => boolean = () => true): void {
    this.parts.push({ field, show: (record) => field.show(value(record)), isFor });
    this.element.append(field.element);
  }
}

const AMOUNTS = "0";
const WINDOW = "1";
const FUNCTION = "2";

/** Numbers of a tolerance by the group that they belong to, with what they mean. */
const TOLERANCE_NUMBERS: readonly [group: string, name: keyof Tolerance, label: string, hint: string][] = [
  [AMOUNTS, "absolute", "absolute", "Allowed difference, in the unit of the values"],
  [AMOUNTS, "relative", "relative", "Allowed difference as a part of the baseline's value: 0.01 is 1 %"],
  [WINDOW, "start", "from", "First time that is judged"],
  [WINDOW, "end", "to", "Last time that is judged"],
  [WINDOW, "step", "step", "Time after which the amounts grow; 0: they stay"],
  [WINDOW, "initial_absolute", "absolute at first", "Allowed difference in the first step"],
  [WINDOW, "absolute_step", "more each step", "What the absolute amount grows by; it may be negative"],
  [WINDOW, "initial_relative", "relative at first", "Allowed part of the baseline's value in the first step"],
  [WINDOW, "relative_step", "more each step", "What the relative amount grows by; it may be negative"],
];

export class ToleranceForm extends RecordForm<Tolerance> {
  constructor(send: Send<Tolerance>) {
    super(send);
    const kinds = [[AMOUNTS, "amounts"], [WINDOW, "a window"], [FUNCTION, "a function"]] as const;
    this.add(
      choice("allowed by", kinds, (type) => this.with({ type: Number(type) })),
      (record) => String(record.type) as (typeof kinds)[number][0],
    );
    for (const [group, name, label, hint] of TOLERANCE_NUMBERS) {
      const field = entry(label, NUMBER, (value) => this.with({ [name]: value }), hint);
      this.add(field, (record) => record[name] as number, (record) => String(record.type) === group);
    }
    this.add(
      entry("name", TEXT, (function_name) => this.with({ function_name }), "A function that kvr.functions has under this name"),
      ({ function_name }) => function_name,
      ({ type }) => String(type) === FUNCTION,
    );
  }
}

const CUSTOM = "custom";
type Instants = Sync["method"] | typeof CUSTOM;
const INSTANTS: readonly [Instants, string][] = [
  ["union", "times of either"], ["intersection", "times of both"], ["uniform", "uniform steps"], [CUSTOM, "a function"],
];
const BETWEEN: readonly [Sync["interp"], string][] = [["zoh", "hold"], ["linear", "straight line"]];

export class SyncForm extends RecordForm<Sync> {
  constructor(send: Send<Sync>) {
    super(send);
    const methodOf = ({ type, method }: Sync): Instants => (type === 1 ? CUSTOM : method);
    this.add(
      choice("compared at", INSTANTS, (word) => this.with(word === CUSTOM ? { type: 1 } : { type: 0, method: word })),
      methodOf,
    );
    this.add(
      entry("step", NUMBER, (interval) => this.with({ interval }), "Time from one compared instant to the next"),
      ({ interval }) => interval,
      (record) => methodOf(record) === "uniform",
    );
    this.add(
      entry("name", TEXT, (function_name) => this.with({ function_name }), "A function that kvr.functions has under this name"),
      ({ function_name }) => function_name,
      ({ type }) => type === 1,
    );
    this.add(
      choice("between", BETWEEN, (interp) => this.with({ interp }), "What holds between samples; the curve is drawn so too"),
      ({ interp }) => interp,
    );
  }
}
