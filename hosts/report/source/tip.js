// What is told of an item that is pointed at, or chosen in the picture.

import { FOLDER } from "./data.js";
import { element } from "./listing.js";
import { count, counted, share, shown, signedSize, size, time } from "./words.js";

export class Tip {
  constructor(place, tree, step) {
    this.place = place;
    this.tree = tree;
    this.step = step; // of sizes: 1000 or 1024
  }

  /** An item, or of a tail the folder, within the folder that is looked at; beside a place in the window. */
  show(node, { isTail, folder, x, y }) {
    this.place.replaceChildren(...(isTail ? this.linesOfTail(node) : this.linesOf(node, folder)));
    this.place.hidden = false;
    const room = this.place.getBoundingClientRect();
    const left = x + 16 + room.width > innerWidth - 8 ? x - room.width - 12 : x + 16;
    const top = y + 18 + room.height > innerHeight - 8 ? y - room.height - 12 : y + 18;
    this.place.style.left = `${Math.max(8, left)}px`;
    this.place.style.top = `${Math.max(8, top)}px`;
  }

  hide() {
    this.place.hidden = true;
  }

  linesOf(node, folder) {
    const { tree, step } = this;
    const weight = tree.weight(node);
    const ofAll = folder === 0 ? "" : `, ${share(weight, tree.bytes[0])} of all`;
    const change = tree.change?.[node];
    return [
      element("strong", {}, element("bdi", {}, shown(tree.name(node)))),
      element("span", { className: "path" }, element("bdi", {}, shown(tree.path(tree.parent[node])))),
      listOf([
        ["Size", `${size(tree.bytes[node], step)} (${count(tree.bytes[node])} bytes)`],
        ["", tree.isFurtherLink[node] ? "Counted at another of its names" : ""],
        ["Share", `${share(weight, tree.bytes[folder])} of this folder${ofAll}`],
        ["Items", tree.isContainer(node) ? count(tree.below[node]) : ""],
        ["Modified", time(tree.minutes[node] * 60)],
        ["Kind", this.kindOf(node)],
        ["Change", change === undefined ? "" : change === 0 ? "none" : signedSize(change, step)],
      ]),
    ];
  }

  linesOfTail(folder) {
    const rest = this.tree.rests.get(folder);
    const text = rest
      ? `${size(rest.bytes, this.step)}, ${counted(rest.items, "item")} that this report does not show one by one`
      : "Items that are too small to be drawn; the list has them";
    return [
      element("strong", {}, "Smaller items"),
      element("span", { className: "path" }, element("bdi", {}, shown(this.tree.path(folder)))),
      listOf([["Together", text]]),
    ];
  }

  kindOf(node) {
    const name = this.tree.facts.types[this.tree.type[node]];
    return this.tree.type[node] < FOLDER ? `file (${name})` : name;
  }
}

/** Those that have a text. */
function listOf(lines) {
  const list = element("dl");
  for (const [name, text] of lines) if (text) list.append(element("dt", {}, name), element("dd", {}, text));
  return list;
}
