// Makes the colours of the store visible on the ground that they are drawn on. The store's palette
// has black, which nobody sees in the dark, and yellow, which nobody sees on white.

const LEAST_CONTRAST = 2;
const STEPS = 20;
const known = new Map<string, string>();

/** The colour itself if it can be seen on this ground, else one of its hue that can be. */
export function ink(color: string, isDark: boolean): string {
  const key = `${color} ${isDark}`;
  let made = known.get(key);
  if (made === undefined) {
    made = visible(color, isDark);
    if (known.size > 10_000) known.clear();
    known.set(key, made);
  }
  return made;
}

/** Whether the page is shown dark; on paper it never is. */
export function isDarkNow(): boolean {
  return matchMedia("(prefers-color-scheme: dark)").matches && !matchMedia("print").matches;
}

function visible(color: string, isDark: boolean): string {
  const parts = partsOf(color);
  if (parts === null) return color;
  const ground = isDark ? 0.01 : 1;
  const towards = isDark ? 255 : 0;
  for (let step = 0; step <= STEPS; step++) {
    const mixed = parts.map((part) => part + ((towards - part) * step) / STEPS);
    if (contrast(luminance(mixed), ground) >= LEAST_CONTRAST) return step === 0 ? color : hex(mixed);
  }
  return color;
}

function partsOf(color: string): number[] | null {
  const [, digits] = /^#([0-9a-f]{6})$/i.exec(color) ?? [];
  return digits === undefined ? null : [0, 2, 4].map((at) => parseInt(digits.slice(at, at + 2), 16));
}

function hex(parts: readonly number[]): string {
  return `#${parts.map((part) => Math.round(part).toString(16).padStart(2, "0")).join("")}`;
}

/** Relative luminance and contrast as the Web Content Accessibility Guidelines 2.1 define them. */
function luminance(parts: readonly number[]): number {
  const [red = 0, green = 0, blue = 0] = parts.map((part) => {
    const value = part / 255;
    return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

function contrast(a: number, b: number): number {
  return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
}
