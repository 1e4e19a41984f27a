// Makes texts from outside safe to show: names of signals come from files that anybody may have
// written.

const CONTROL = /[\u0000-\u001f\u007f-\u009f]/gu;
// Marks that turn the direction of a line, and others that nobody sees.
const UNSEEN = /[\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]|\p{Cs}/gu;

/** The text with control characters as their pictures and unseen ones as their numbers. */
export function shown(text: string): string {
  return text.replace(CONTROL, picture).replace(UNSEEN, (mark) => {
    return `⟨${(mark.codePointAt(0) ?? 0).toString(16).toUpperCase().padStart(4, "0")}⟩`;
  });
}

function picture(mark: string): string {
  const code = mark.charCodeAt(0);
  if (code < 0x20) return String.fromCharCode(0x2400 + code);
  return code === 0x7f ? "␡" : `⟨${code.toString(16).toUpperCase().padStart(4, "0")}⟩`;
}

/** The same, of at most `most` characters: a name of a megabyte must not fill the page. */
export function shownShort(text: string, most: number): string {
  return text.length <= most ? shown(text) : `${shown(text.slice(0, most - 1))}…`;
}
