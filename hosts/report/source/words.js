// How names, sizes and dates are written for people.

const HIDDEN = /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}\p{Cs}\p{Default_Ignorable_Code_Point}\\]/gu;
const SHORT = { "\n": "\\n", "\r": "\\r", "\t": "\\t", "\\": "\\\\" };

/** What a browser would obey, or not show, as a visible escape; so no two names look alike. */
export function shown(name) {
  return name.replace(HIDDEN, (character) => {
    if (SHORT[character]) return SHORT[character];
    const code = character.codePointAt(0).toString(16);
    return character < "\x80" ? `\\x${code.padStart(2, "0")}` : `\\u{${code}}`;
  });
}

const UNITS = {
  1000: ["B", "kB", "MB", "GB", "TB", "PB", "EB"],
  1024: ["B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"],
};

/** Three digits: "4.82 GB". */
export function size(bytes, step) {
  const sign = bytes < 0 ? "−" : "";
  let value = Math.abs(bytes);
  let unit = 0;
  const digits = () => (unit === 0 || value >= 99.95 ? 0 : value >= 9.995 ? 1 : 2);
  while (unit < 6 && Number(value.toFixed(digits())) >= step) {
    value /= step;
    unit++;
  }
  return `${sign}${value.toFixed(digits())} ${UNITS[step][unit]}`;
}

/** A change, with its sign. */
export const signedSize = (bytes, step) => `${bytes > 0 ? "+" : ""}${size(bytes, step)}`;

const COUNT = new Intl.NumberFormat("en-US", { maximumFractionDigits: 0 });
export const count = (number) => COUNT.format(number);
export const counted = (number, one, many = `${one}s`) => `${count(number)} ${number === 1 ? one : many}`;

export function share(part, whole) {
  if (part <= 0 || whole <= 0) return "0 %";
  const percent = (part / whole) * 100;
  return percent < 0.1 ? "<0.1 %" : `${percent.toFixed(1)} %`;
}

const two = (number) => String(number).padStart(2, "0");

/** The day by the reader's clock. */
export function day(seconds) {
  const date = new Date(seconds * 1000);
  if (!Number.isFinite(seconds) || Number.isNaN(date.getTime())) return "";
  return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
}

/** The same with the minute. */
export function time(seconds) {
  const date = new Date(seconds * 1000);
  const text = day(seconds);
  return text && `${text} ${two(date.getHours())}:${two(date.getMinutes())}`;
}
