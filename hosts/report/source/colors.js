// What the colours of the picture tell. Hues by type are near those of the picture in the terminal; any two differ in
// lightness or hue enough (12 and more in CIE Lab) also for who can't tell red, green or blue. A folder that is not
// looked into has a shade of what is largest in it.

import { FOLDER } from "./data.js";

const TYPES = [
  [238, 200, 64], // photos
  [194, 62, 62], // videos
  [192, 126, 208], // music
  [64, 124, 228], // documents
  [222, 134, 52], // archives
  [124, 190, 104], // code
  [100, 208, 206], // applications
  [146, 130, 102], // disk images
  [226, 190, 180], // databases
  [128, 140, 156], // other
  [80, 98, 146], // folders without files
  [100, 208, 206], // packages
  [128, 140, 156], // links
  [128, 140, 156], // what has no content
];
// From young to old, dark to light in one direction; the last is for what has no date.
const AGES = [
  [42, 92, 170],
  [66, 140, 190],
  [122, 184, 178],
  [222, 206, 130],
  [226, 150, 86],
  [150, 152, 160],
];
const AGELESS = [176, 180, 190]; // links, and folders without files
const UNCHANGED = [140, 143, 150];
const GREW = [
  [206, 166, 142],
  [232, 96, 40],
];
const SHRANK = [
  [140, 158, 182],
  [36, 92, 180],
];
const TAIL = [128, 131, 140];
const DARKEST = [16, 18, 22];
const LIGHTEST = [252, 252, 252];

export const css = (color) => `rgb(${color[0]} ${color[1]} ${color[2]})`;
export const mixed = (a, b, part) => a.map((value, i) => Math.round(value + (b[i] - value) * part));
const lightness = (color) => 0.299 * color[0] + 0.587 * color[1] + 0.114 * color[2];
/** The one that can be read on the colour. */
export const ink = (color) => (lightness(color) > 128 ? DARKEST : LIGHTEST);

export const typeColor = (type) => TYPES[type] ?? TYPES[FOLDER - 1];
export const ageColor = (age) => AGES[Math.min(age, AGES.length - 1)];

/** By how much of it is new; a hundredth is told from nothing. */
export function changeColor(bytes, change) {
  const part = Math.abs(change) / Math.max(bytes, Math.abs(change), 1);
  if (part < 0.001) return UNCHANGED;
  const strength = Math.min(1, Math.max(0.2, Math.log10(1 + 999 * part) / 3));
  const [weak, strong] = change > 0 ? GREW : SHRANK;
  return mixed(weak, strong, strength);
}

export function colorOf(tree, coloring, node) {
  if (coloring === "change") return changeColor(tree.bytes[node], tree.change[node]);
  if (tree.isContainer(node) && tree.largestFile(node) !== undefined)
    return mixed(colorOf(tree, coloring, tree.largestFile(node)), typeColor(FOLDER), 0.25);
  if (coloring === "age") return tree.isFile(node) ? ageColor(tree.age(node)) : AGELESS;
  return typeColor(tree.type[node]);
}

/** Of the items of a folder that weigh less than `least`: towards the colour of what most of them are. */
export function tailColor(tree, coloring, folder, least) {
  if (coloring === "change") return UNCHANGED;
  const sums = new Map();
  const add = (key, bytes) => sums.set(key, (sums.get(key) ?? 0) + bytes);
  for (const each of tree.rests.get(folder)?.files ?? []) add(coloring === "age" ? each.age : each.type, each.bytes);
  for (let i = tree.first[folder]; i < tree.first[folder] + tree.children[folder]; i++) {
    if (tree.isFile(i) && tree.weight(i) < least) add(coloring === "age" ? tree.age(i) : tree.type[i], tree.bytes[i]);
  }
  if (sums.size === 0) return TAIL;
  const [most] = [...sums].reduce((a, b) => (b[1] > a[1] ? b : a));
  return mixed(coloring === "age" ? ageColor(most) : typeColor(most), TAIL, 0.35);
}

/** What the colours mean, for the line below the picture. */
export function meanings(tree, coloring, types) {
  if (coloring === "change") {
    return [
      ["grew", GREW[1]],
      ["as it was", UNCHANGED],
      ["shrank", SHRANK[1]],
    ];
  }
  if (coloring === "age") {
    return [...tree.facts.ages.map((age) => age.name), tree.facts.ageUnknown].map((name, i) => [name, ageColor(i)]);
  }
  return types
    .map((row, i) => [tree.facts.types[i], typeColor(i), row.bytes])
    .filter((each) => each[2] > 0)
    .sort((a, b) => b[2] - a[2]);
}
