// The data block of a report, as hosts/cli/report/ReportData.hpp describes it.

const FURTHER_LINK = 16;
const REST = 32;
const TYPE = 15;

/** Kinds behind the categories of files. */
export const FOLDER = 10;
export const PACKAGE = 11;

/** Reads numbers of seven bits a byte. They may pass 2^53 in hostile data only, and are rounded then. */
class Numbers {
  constructor(bytes) {
    this.bytes = bytes;
    this.at = 0;
  }

  next() {
    const bytes = this.bytes;
    let byte = bytes[this.at++];
    if (byte < 0x80) return byte;
    let number = byte & 0x7f;
    let place = 0x80;
    do {
      byte = bytes[this.at++];
      number += (byte & 0x7f) * place;
      place *= 0x80;
    } while (byte >= 0x80);
    return number;
  }

  signed() {
    const number = this.next();
    return number % 2 === 0 ? number / 2 : -(number + 1) / 2;
  }

  size() {
    const number = this.next();
    return number % 2 === 0 ? (number / 2) * 4096 : (number - 1) / 2;
  }
}

const digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%[()*+-;]=,?@^_.{|}~";

/** Bytes from digits to the base 85: five for each four, of the last ones one more than there are bytes. */
function bytesOf(text) {
  const values = new Uint8Array(128);
  for (let i = 0; i < digits.length; i++) values[digits.charCodeAt(i)] = i;
  const left = text.length % 5;
  const bytes = new Uint8Array(Math.ceil(text.length / 5) * 4);
  for (let from = 0, to = 0; from < text.length; from += 5, to += 4) {
    let number = 0;
    for (let i = from; i < from + 5; i++) number = number * 85 + (i < text.length ? values[text.charCodeAt(i)] : 84);
    bytes[to] = number >>> 24;
    bytes[to + 1] = number >>> 16;
    bytes[to + 2] = number >>> 8;
    bytes[to + 3] = number;
  }
  return left === 0 ? bytes : bytes.subarray(0, bytes.length - 5 + left);
}

/** The bytes of the block, without digits and compression. */
export async function expanded(text) {
  const bytes = bytesOf(text.trim());
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

/** What the page says beside its tree, and the columns by name. */
export function opened(bytes) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  let at = 4 + view.getUint32(0, true);
  const facts = JSON.parse(new TextDecoder().decode(bytes.subarray(4, at)));
  const columns = {};
  for (const [name, length] of Object.entries(facts.columns)) {
    columns[name] = bytes.subarray(at, at + length);
    at += length;
  }
  return { facts, columns };
}

/** The items as arrays, one value for each; what follows from others is left to the tree. */
export function decoded({ facts, columns }) {
  const what = columns.what;
  const count = what.length;
  const items = {
    count,
    type: new Uint8Array(count),
    isFurtherLink: new Uint8Array(count),
    parent: new Uint32Array(count),
    first: new Uint32Array(count),
    children: new Uint32Array(count),
    own: new Float64Array(count),
    minutes: new Float64Array(count), // since 1970; NaN where it is not known
    nameEnd: new Uint32Array(count), // where the zero byte behind it stands
    names: columns.names,
    rests: new Map(),
    change: columns.changes.length > 0 ? new Float64Array(count) : null,
  };
  const counts = new Numbers(columns.counts);
  const sizes = new Numbers(columns.sizes);
  const dates = new Numbers(columns.dates);
  const rests = new Numbers(columns.rests);
  const changes = new Numbers(columns.changes);
  let next = 1;
  let minutes = 0;
  let name = -1;
  for (let i = 0; i < count; i++) {
    const type = what[i] & TYPE;
    items.type[i] = type;
    if (what[i] & FURTHER_LINK) items.isFurtherLink[i] = 1;
    items.first[i] = next;
    if (type === FOLDER || type === PACKAGE) {
      const children = counts.next();
      items.children[i] = children;
      items.parent.fill(i, next, next + children);
      next += children;
    }
    items.own[i] = sizes.size();
    const step = dates.next() - 1;
    if (step >= 0) minutes += step % 2 === 0 ? step / 2 : -(step + 1) / 2;
    items.minutes[i] = step >= 0 ? minutes : NaN;
    name = columns.names.indexOf(0, name + 1);
    items.nameEnd[i] = name;
    if (what[i] & REST) items.rests.set(i, rest(rests, facts.ages.length + 1));
    if (items.change) items.change[i] = changes.signed();
  }
  return items;
}

function rest(numbers, ages) {
  const found = { items: numbers.next(), bytes: numbers.size(), files: [] };
  for (let left = numbers.next(); left > 0; left--) {
    const group = numbers.next();
    found.files.push({
      type: Math.floor(group / ages),
      age: group % ages,
      items: numbers.next(),
      bytes: numbers.size(),
    });
  }
  return found;
}
