// What the keys do.

import { element } from "./listing.js";

const KEYS = [
  ["Click, Enter", "looks into a folder; of a file shows where it lies"],
  ["Wheel, + and −", "in and out, towards what is under the pointer"],
  ["Backspace, 0", "to the folder above; to the top"],
  ["Arrows", "walk through the list, or through the picture"],
  ["l, m", "to the list; to the picture (map)"],
  ["1, 2, 3 …", "folder, largest files, types, ages, growth"],
  ["/", "searches all names; Esc ends that"],
  ["c, t", "other colours; light or dark"],
  ["?", "this help"],
];

export function keysOf(close) {
  const list = element("dl");
  for (const [key, text] of KEYS) list.append(element("dt", {}, key), element("dd", {}, text));
  const button = element("button", { type: "button", autofocus: true }, "Close");
  button.addEventListener("click", close);
  return [
    element("h2", { id: "keys-title" }, "Keys"),
    list,
    element("p", {}, "This page is one file. It asks nothing of any network, and can be printed."),
    button,
  ];
}
