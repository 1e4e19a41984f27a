// Numbers as people read them.

/** At most `digits` significant digits; very large and very small numbers with an exponent. */
export function shortNumber(number: number, digits = 6): string {
  if (!Number.isFinite(number)) return String(number);
  if (number === 0) return "0";
  const [mantissa = "", exponent = "0"] = number.toExponential(digits - 1).split("e");
  const power = Number(exponent);
  const trimmed = (text: string): string => (text.includes(".") ? text.replace(/\.?0+$/, "") : text);
  if (power < -4 || power >= Math.max(digits, 6)) return `${trimmed(mantissa)}e${power}`;
  return trimmed(number.toFixed(Math.max(0, digits - 1 - power)));
}

/** Every digit that tells this double from all others. */
export function exactNumber(number: number): string {
  return Object.is(number, -0) ? "-0" : String(number);
}

/** A real number, or a complex one as 1+2i, with every digit. */
export function exactValue(value: number | readonly [number, number]): string {
  if (typeof value === "number") return exactNumber(value);
  const [real, imaginary] = value;
  const sign = imaginary < 0 || Object.is(imaginary, -0) ? "-" : "+";
  return `${exactNumber(real)}${sign}${exactNumber(Math.abs(imaginary))}i`;
}

/** A count with thin spaces between groups of three digits. */
export function countText(count: number): string {
  return String(count).replace(/\B(?=(\d{3})+$)/g, "\u2009");
}

/** "1 signal", "2 signals". */
export function counted(count: number, noun: string, nouns = `${noun}s`): string {
  return `${countText(count)} ${count === 1 ? noun : nouns}`;
}
