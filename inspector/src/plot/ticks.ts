// Where axes have their ticks, and what stands at them.

import { dateParts } from "../text/dates";
import { shortNumber } from "../text/numbers";

export interface Ticks {
  /** Rising. */
  places: number[];
  texts: string[];
}

const NOTHING: Ticks = { places: [], texts: [] };
const MOST = 100;

/** Multiples of 1, 2 or 5 times a power of ten, about `count` of them, with as many digits as tell them apart. */
export function numberTicks(low: number, high: number, count: number): Ticks {
  const span = high - low;
  if (!(span > 0) || !Number.isFinite(span)) return NOTHING;
  const places = multiples(low, high, niceStep(span / Math.max(1, count)));
  return { places, texts: numberTexts(places) };
}

/** The smallest of 1, 2 and 5 times a power of ten that is not below `least`. */
export function niceStep(least: number): number {
  const power = Math.floor(Math.log10(least));
  for (const digit of [1, 2, 5]) {
    const step = scaled(digit, power);
    if (step >= least * (1 - 1e-9)) return step;
  }
  return scaled(1, power + 1);
}

/** digit * 10^power, rounded once. */
function scaled(digit: number, power: number): number {
  return Number(`${digit}e${power}`);
}

function multiples(low: number, high: number, step: number): number[] {
  const places: number[] = [];
  const first = Math.ceil(low / step - 1e-9);
  for (let k = first; k * step <= high + step * 1e-9 && places.length < MOST; k++) {
    // 3 * 0.1 is 0.30000000000000004: the tick stands at the number that its text says.
    const place = Number((k * step).toPrecision(15));
    if (places.length > 0 && place <= places[places.length - 1]!) break; // below a double's precision
    places.push(place === 0 ? 0 : place);
  }
  return places;
}

/** All texts have the same exponent, a multiple of three, so that they can be compared at a glance. */
function numberTexts(places: readonly number[]): string[] {
  const largest = Math.max(...places.map(Math.abs));
  const isPlain = largest === 0 || (largest < 1e6 && largest >= 1e-3);
  const power = isPlain ? 0 : Math.floor(Math.log10(largest) / 3) * 3;
  for (let digits = 3; digits <= 17; digits++) {
    const texts = places.map((place) => withExponent(place, power, digits));
    if (texts.every((text, index) => Number(text) === places[index])) return texts;
  }
  return places.map((place) => shortNumber(place, 17));
}

function withExponent(number: number, power: number, digits: number): string {
  if (number === 0) return "0";
  const scaled = power === 0 ? number : Number(number.toPrecision(17)) / 10 ** power;
  const text = String(Number(scaled.toPrecision(digits)));
  return power === 0 ? text : text.includes("e") ? shortNumber(number, digits) : `${text}e${power}`;
}

// ---- Dates ----

const MINUTE = 60;
const HOUR = 3600;
const DAY = 86400;
const STEPS = [
  1, 2, 5, 10, 15, 30, MINUTE, 2 * MINUTE, 5 * MINUTE, 10 * MINUTE, 15 * MINUTE, 30 * MINUTE, HOUR,
  2 * HOUR, 3 * HOUR, 6 * HOUR, 12 * HOUR, DAY, 2 * DAY, 7 * DAY, 14 * DAY,
];
const MONTH_STEPS = [1, 2, 3, 6];
const MONTH = 30.4 * DAY;
const MONDAY = 4 * DAY; // 1970-01-05

/**
 * Seconds, minutes, hours, days, months or years of dates in UTC, about `count` of them. A text is as
 * short as its neighbour to the left allows: the day stands where it changes.
 */
export function dateTicks(low: number, high: number, count: number): Ticks {
  const span = high - low;
  if (!(span > 0) || dateParts(low) === null || dateParts(high) === null) {
    return numberTicks(low, high, count);
  }
  const least = span / Math.max(1, count);
  if (least > STEPS[STEPS.length - 1]!) return monthTicks(low, high, least);
  const step = least < 1 ? niceStep(least) : STEPS.find((one) => one >= least)!;
  const offset = step >= 7 * DAY ? MONDAY : 0;
  const places = multiples(low - offset, high - offset, step).map((place) => place + offset);
  return { places, texts: dateTexts(places, step) };
}

function monthTicks(low: number, high: number, least: number): Ticks {
  const months = MONTH_STEPS.find((one) => one * MONTH >= least) ?? 12 * Math.max(1, niceStep(least / (12 * MONTH)));
  const start = new Date(low * 1000);
  let month = Math.floor((start.getUTCFullYear() * 12 + start.getUTCMonth()) / months) * months;
  const places: number[] = [];
  const texts: string[] = [];
  for (; places.length < MOST; month += months) {
    const year = Math.floor(month / 12);
    const date = new Date(0);
    date.setUTCFullYear(year, month % 12, 1); // Date.UTC takes years below 100 as of 1900
    const place = date.getTime() / 1000;
    if (place > high) break;
    if (place < low) continue;
    places.push(place);
    const [text = ""] = date.toISOString().split("T");
    texts.push(months % 12 === 0 ? text.slice(0, -6) : text.slice(0, -3));
  }
  return { places, texts };
}

function dateTexts(places: readonly number[], step: number): string[] {
  let before = "";
  return places.map((place) => {
    const [day, time] = dateParts(place) ?? ["", shortNumber(place)];
    if (step >= DAY) return day;
    const short = step >= MINUTE ? time.slice(0, 5) : time;
    const text = day === before ? short : `${short}\n${day}`;
    before = day;
    return text;
  });
}
