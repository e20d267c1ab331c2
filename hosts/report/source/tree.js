// The items of the report as a tree: level by level, those of a folder side by side. So what lies below a folder is one
// range in each level.

import { FOLDER, PACKAGE } from "./data.js";

const NONE = 0xffffffff;

export class Tree {
  constructor(facts, items) {
    Object.assign(this, items);
    this.facts = facts;
    this.decoder = new TextDecoder();
    this.sumUp();
  }

  sumUp() {
    this.bytes = Float64Array.from(this.own);
    this.below = new Float64Array(this.count); // how many items lie below
    for (const [folder, rest] of this.rests) {
      this.bytes[folder] += rest.bytes;
      this.below[folder] += rest.items;
    }
    this.largest = new Uint32Array(this.count).fill(NONE); // a large file below a folder, which stands for it in colours
    const most = new Float64Array(this.count);
    for (let i = this.count - 1; i > 0; i--) {
      const parent = this.parent[i];
      const file = this.isFile(i) ? i : this.largest[i];
      if (file !== NONE && this.weight(i) > most[parent]) {
        most[parent] = this.weight(i);
        this.largest[parent] = file;
      }
      this.bytes[parent] += this.weight(i);
      this.below[parent] += 1 + this.below[i];
    }
  }

  isContainer(node) {
    return this.type[node] === FOLDER || this.type[node] === PACKAGE;
  }

  /** A file of the folder, or below it, on the way of the largest items; undefined without any. */
  largestFile(folder) {
    return this.largest[folder] === NONE ? undefined : this.largest[folder];
  }

  isFile(node) {
    return this.type[node] < FOLDER;
  }

  /** What it adds to the folders above it: a further hard link adds nothing. */
  weight(node) {
    return this.isFurtherLink[node] ? 0 : this.bytes[node];
  }

  /** As it was stored: hidden characters and all. Of the top its path. */
  name(node) {
    const begin = node === 0 ? 0 : this.nameEnd[node - 1] + 1;
    return this.decoder.decode(this.names.subarray(begin, this.nameEnd[node]));
  }

  path(node) {
    const parts = [];
    for (let each = node; each > 0; each = this.parent[each]) parts.push(this.name(each));
    const top = this.name(0);
    if (parts.length === 0) return top;
    return (top === "/" ? "" : top) + "/" + parts.reverse().join("/");
  }

  /** The path from the top of the report; empty of the top itself. */
  pathBelow(node) {
    const parts = [];
    for (let each = node; each > 0; each = this.parent[each]) parts.push(this.name(each));
    return parts.reverse().join("/");
  }

  /** From the top down to the node. */
  way(node) {
    const nodes = [node];
    for (let each = node; each > 0;) nodes.push((each = this.parent[each]));
    return nodes.reverse();
  }

  isWithin(node, folder) {
    let each = node;
    while (each > folder) each = this.parent[each]; // a folder has a smaller number than what lies in it
    return each === folder;
  }

  *childrenOf(node) {
    for (let i = this.first[node]; i < this.first[node] + this.children[node]; i++) yield i;
  }

  /** Calls `visit` with the range of each level below the folder. */
  levels(folder, visit) {
    let begin = this.first[folder];
    let end = begin + this.children[folder];
    while (begin < end) {
      visit(begin, end);
      const last = end - 1;
      [begin, end] = [this.first[begin], this.first[last] + this.children[last]];
    }
  }

  /** The deepest item on the way along `path`, which begins as the top's does. */
  nearest(path) {
    const top = this.name(0);
    if (!path.startsWith(top)) return 0;
    let node = 0;
    for (const part of path.slice(top.length).split("/").filter(Boolean)) {
      let found = -1;
      for (const child of this.childrenOf(node)) {
        if (this.name(child) === part) {
          found = child;
          break;
        }
      }
      if (found < 0) return node;
      node = found;
    }
    return node;
  }

  /** The class of age of a file; the one behind the last for what has no date. */
  age(node) {
    return this.ageOf(this.minutes[node]);
  }

  ageOf(minutes) {
    const ages = this.facts.ages;
    if (Number.isNaN(minutes)) return ages.length;
    const seconds = this.facts.madeAt - minutes * 60;
    const number = ages.findIndex((age) => age.most === undefined || seconds <= age.most);
    return number;
  }

  /**
   * The files below the folder by type and by age, as `kestrel summary` has them, and the largest of them. What lies in
   * a package below the folder is part of an application.
   */
  summary(folder, most) {
    const types = this.facts.types.slice(0, FOLDER).map(() => ({ items: 0, bytes: 0 }));
    const ages = [...this.facts.ages, null].map(() => ({ items: 0, bytes: 0 }));
    const applications = this.facts.applications;
    const add = (row, items, bytes) => {
      row.items += items;
      row.bytes += bytes;
    };
    const inPackage = new Set(); // folders in packages below the folder
    const largest = new Largest(most);
    const addRest = (node, isInPackage) => {
      for (const each of this.rests.get(node)?.files ?? []) {
        add(types[isInPackage ? applications : each.type], each.items, each.bytes);
        add(ages[each.age], each.items, each.bytes);
      }
    };
    addRest(folder, false);
    this.levels(folder, (begin, end) => {
      for (let i = begin; i < end; i++) {
        const parent = this.parent[i];
        const isInPackage = parent !== folder && inPackage.has(parent);
        if (this.isContainer(i)) {
          if (isInPackage || this.type[i] === PACKAGE) inPackage.add(i);
          addRest(i, isInPackage || this.type[i] === PACKAGE);
        } else if (this.isFile(i)) {
          const bytes = this.weight(i);
          add(types[isInPackage ? applications : this.type[i]], 1, bytes);
          add(ages[this.age(i)], 1, bytes);
          largest.offer(i, bytes);
        }
      }
    });
    return { types, ages, largest: largest.sorted() };
  }
}

/** The nodes of most bytes among many: kept in no order until the end, and cut when there are twice too many. */
class Largest {
  constructor(most) {
    this.most = most;
    this.kept = [];
    this.least = -1;
  }

  offer(node, bytes) {
    if (bytes <= this.least) return;
    this.kept.push({ node, bytes });
    if (this.kept.length >= 2 * this.most) this.cut();
  }

  cut() {
    this.kept.sort((a, b) => b.bytes - a.bytes || a.node - b.node);
    this.kept.length = Math.min(this.kept.length, this.most);
    if (this.kept.length === this.most) this.least = this.kept[this.most - 1].bytes;
  }

  sorted() {
    this.cut();
    return this.kept.map((each) => each.node);
  }
}
