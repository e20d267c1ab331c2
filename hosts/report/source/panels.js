// The lists beside the picture, one in each tab: the folder, its largest files, types, ages, growth, and what was found.

import { Listing, element } from "./listing.js";
import { ageColor, css } from "./colors.js";
import { count, counted, day, share, shown } from "./words.js";

const MOST_FILES = 300;

export class Panels {
  constructor(page) {
    this.page = page;
    this.tree = page.tree;
    this.types = [];
    this.tabs = document.getElementById("tabs");
    this.room = document.getElementById("panels");
    this.panels = new Map();
    this.add("folder", "Folder", this.folderColumns());
    this.add("largest", "Largest files", this.fileColumns());
    this.add("types", "Types", this.groupColumns("Type"));
    this.add("ages", "Ages", this.groupColumns("Last changed"));
    if (page.facts.growth) this.add("growth", "Growth", this.growthColumns());
    this.add("found", "Found", this.fileColumns());
    this.tabOf("found").hidden = true;
    this.tabs.addEventListener("keydown", (event) => this.pressedInTabs(event));
    this.select(page.facts.growth ? "growth" : "folder");
  }

  add(name, title, columns) {
    const tab = element("button", { type: "button", id: `tab-${name}`, role: "tab" }, title);
    tab.setAttribute("aria-controls", `panel-${name}`);
    tab.addEventListener("click", () => this.select(name));
    const text = element("p", { hidden: true });
    const isOfNodes = name === "folder" || name === "largest" || name === "found";
    const nodeOf = (item) => (isOfNodes && item.rest === undefined ? item : undefined);
    const listing = new Listing(title, columns, {
      open: (item) => this.open(name, item),
      up: () => this.page.up(true),
      choose: (item) => name === "folder" && nodeOf(item) !== undefined && this.page.choose(item),
      point: (item) => isOfNodes && this.page.pointTo(item === undefined ? undefined : nodeOf(item)),
      part: (item) => this.partOf(name, item),
      mark: (item) => this.markOf(name, item),
    });
    const panel = element(
      "div",
      { id: `panel-${name}`, className: "panel", role: "tabpanel" },
      element("h2", {}, title),
      text,
      listing.element,
    );
    panel.setAttribute("aria-labelledby", tab.id);
    this.tabs.append(tab);
    this.room.append(panel);
    this.panels.set(name, { tab, panel, text, listing, isFilled: false });
  }

  tabOf(name) {
    return this.panels.get(name).tab;
  }

  // What stands in the columns.

  nameCell(node) {
    return shown(this.tree.name(node));
  }

  sizeColumns(bytesOf) {
    return [
      { title: "Size", className: "number size", text: (item) => this.page.size(bytesOf(item)), value: bytesOf },
      {
        title: "Share",
        className: "number share",
        text: (item) => share(this.weightOf(item), this.tree.bytes[this.page.folder]),
      },
    ];
  }

  bytesOf(item) {
    return item.rest === undefined ? this.tree.bytes[item] : item.rest.bytes;
  }

  weightOf(item) {
    return item.rest === undefined ? this.tree.weight(item) : item.rest.bytes;
  }

  folderColumns() {
    const { tree } = this;
    const isRest = (item) => item.rest !== undefined;
    return [
      {
        title: "Name",
        className: "name",
        isName: true,
        isDescending: false,
        text: (item) => (isRest(item) ? counted(item.rest.items, "smaller item") : this.nameCell(item)),
        value: (item) => (isRest(item) ? "\uffff" : tree.name(item)),
      },
      ...this.sizeColumns((item) => this.bytesOf(item)),
      {
        title: "Items",
        className: "number items extra",
        text: (item) => (isRest(item) ? count(item.rest.items) : tree.isContainer(item) ? count(tree.below[item]) : ""),
        value: (item) => (isRest(item) ? item.rest.items : tree.below[item]),
      },
      this.dateColumn(),
    ];
  }

  dateColumn() {
    return {
      title: "Modified",
      className: "date",
      text: (item) => (item.rest === undefined ? day(this.tree.minutes[item] * 60) : ""),
      value: (item) => (item.rest === undefined ? this.tree.minutes[item] : NaN),
    };
  }

  fileColumns() {
    return [
      {
        title: "Name",
        className: "name",
        isDescending: false,
        text: (node) => this.nameWithFolder(node),
        value: (node) => this.tree.name(node),
      },
      {
        title: "Size",
        className: "number size",
        text: (node) => this.page.size(this.tree.bytes[node]),
        value: (node) => this.tree.bytes[node],
      },
      this.dateColumn(),
    ];
  }

  nameWithFolder(node) {
    const cell = element("span", {}, element("bdi", {}, this.nameCell(node)));
    const where = this.tree.pathBelow(this.tree.parent[node]);
    cell.append(element("small", {}, element("bdi", {}, where === "" ? "in the top folder" : shown(where))));
    return cell;
  }

  groupColumns(title) {
    return [
      { title, className: "name", text: (row) => row.name },
      { title: "Size", className: "number size", text: (row) => this.page.size(row.bytes), value: (row) => row.bytes },
      { title: "Share", className: "number share", text: (row) => share(row.bytes, row.whole) },
      { title: "Files", className: "number items", text: (row) => count(row.items), value: (row) => row.items },
    ];
  }

  growthColumns() {
    return [
      {
        title: "Name",
        className: "name",
        text: (change) => {
          const slash = change.path.lastIndexOf("/");
          const cell = element("span", {}, element("bdi", {}, shown(change.path.slice(slash + 1) || change.path)));
          const items = change.items > 1 ? `, ${counted(change.items, "item")}` : "";
          const from = change.movedFrom ? ` from ${shown(this.withinTop(change.movedFrom))}` : "";
          const where = shown(this.withinTop(change.path.slice(0, slash)));
          cell.append(element("small", {}, `${change.what}${from}${items}`, where && " · ", element("bdi", {}, where)));
          return cell;
        },
        isDescending: false,
        value: (change) => change.path,
      },
      {
        title: "Change",
        className: "number size",
        text: (change) => this.page.signed(change.after - change.before),
        value: (change) => change.after - change.before,
      },
      {
        title: "Now",
        className: "number size",
        text: (change) => this.page.size(change.after),
        value: (change) => change.after,
      },
    ];
  }

  /** A path as it is below the top; one that is not stays whole. */
  withinTop(path) {
    const top = this.tree.name(0);
    const begin = top === "/" ? "/" : `${top}/`;
    return path.startsWith(begin) ? path.slice(begin.length) : path === top ? "" : path;
  }

  partOf(name, item) {
    if (name === "types" || name === "ages") return item.whole > 0 ? item.bytes / item.whole : 0;
    if (name === "folder") {
      const whole = this.tree.bytes[this.page.folder];
      return whole > 0 ? this.weightOf(item) / whole : 0;
    }
    return undefined;
  }

  markOf(name, item) {
    if (name === "growth") return undefined;
    if (name === "types") return this.page.typeSwatch(item.number);
    if (name === "ages") {
      const mark = element("span", { className: "swatch" });
      mark.style.background = css(ageColor(item.number));
      return mark;
    }
    if (item.rest !== undefined) {
      const mark = element("span", { className: "swatch" });
      mark.style.background = "var(--line)";
      return mark;
    }
    return this.page.swatch(item);
  }

  // Filling them.

  /** The lists of another folder; only the one that is seen is made now. */
  show(folder) {
    for (const [name, panel] of this.panels) if (name !== "growth" && name !== "found") panel.isFilled = false;
    const summary = this.tree.summary(folder, MOST_FILES);
    this.types = summary.types;
    this.ages = summary.ages;
    this.largest = summary.largest;
    this.select(this.selected);
  }

  select(name) {
    this.selected = name;
    for (const [each, { tab, panel }] of this.panels) {
      tab.setAttribute("aria-selected", String(each === name));
      tab.tabIndex = each === name ? 0 : -1;
      panel.hidden = each !== name;
    }
    // On a narrow screen not all tabs are in view.
    const { tab } = this.panels.get(name);
    const isBefore = tab.offsetLeft < this.tabs.scrollLeft;
    const isBehind = tab.offsetLeft + tab.offsetWidth > this.tabs.scrollLeft + this.tabs.clientWidth;
    if (isBefore || isBehind) this.tabs.scrollLeft = tab.offsetLeft - 8;
    this.fill(name);
  }

  /** All of them, for paper. */
  showAll() {
    for (const [name, { panel, tab }] of this.panels) {
      panel.classList.toggle("unused", tab.hidden);
      panel.hidden = false;
      this.fill(name);
    }
  }

  fill(name) {
    const panel = this.panels.get(name);
    if (panel.isFilled || this.largest === undefined) return;
    panel.isFilled = true;
    const folder = this.page.folder;
    if (name === "folder") panel.listing.fill(this.itemsOf(folder), "Nothing is in this folder.");
    if (name === "largest")
      panel.listing.fill(this.largest, "No file lies in this folder, or below it, that the report shows.");
    if (name === "types") this.fillGroups(panel, this.types, (i) => this.page.facts.types[i], true);
    if (name === "ages")
      this.fillGroups(panel, this.ages, (i) => this.page.facts.ages[i]?.name ?? this.page.facts.ageUnknown, false);
    if (name === "growth") this.fillGrowth(panel);
  }

  itemsOf(folder) {
    const { tree } = this;
    const items = [...tree.childrenOf(folder)];
    items.sort((a, b) => tree.bytes[b] - tree.bytes[a] || a - b);
    const rest = tree.rests.get(folder);
    if (rest) items.push({ rest });
    return items;
  }

  fillGroups(panel, groups, nameOf, isBySize) {
    const whole = groups.reduce((sum, row) => sum + row.bytes, 0);
    const rows = groups
      .map((row, number) => ({ ...row, number, whole, name: nameOf(number) }))
      .filter((row) => row.items > 0);
    if (isBySize) rows.sort((a, b) => b.bytes - a.bytes || b.items - a.items);
    const files = rows.reduce((sum, row) => sum + row.items, 0);
    panel.text.textContent = `${counted(files, "file")}, ${this.page.size(whole)}`;
    panel.text.hidden = rows.length === 0;
    panel.listing.fill(rows, "No files are in it.");
  }

  fillGrowth(panel) {
    const growth = this.page.facts.growth;
    const change = growth.after - growth.before;
    panel.text.textContent = `Since scan ${growth.number} of ${day(growth.scannedAt)}: ${this.page.size(growth.before)} → ${this.page.size(growth.after)} (${this.page.signed(change)}).`;
    panel.text.hidden = false;
    panel.listing.fill(growth.largest, "Nothing has changed in size.");
  }

  /** What the search found; null: nothing is looked for. */
  showFound(found, words) {
    const panel = this.panels.get("found");
    panel.tab.hidden = found === null;
    if (found === null) {
      if (this.selected === "found") this.select("folder");
      return;
    }
    const partly =
      this.page.facts.shown < this.page.facts.items
        ? " Items that the report does not show one by one are not searched."
        : "";
    panel.text.textContent = `${counted(found.nodes.length, "item")}, ${this.page.size(found.bytes)}, with “${shown(words)}” in the name.${partly}`;
    panel.text.hidden = false;
    panel.listing.fill(found.nodes);
    panel.isFilled = true;
    this.select("found");
  }

  /** With the colours of the picture. */
  recolor() {
    for (const name of ["folder", "largest", "found"]) {
      const { listing } = this.panels.get(name);
      if (listing.items.length > 0) listing.render();
    }
  }

  // Walking.

  open(name, item) {
    if (name === "growth") {
      const node = this.tree.nearest(item.path);
      this.page.enterWithLists(
        this.tree.isContainer(node) ? node : this.tree.parent[node],
        this.tree.isContainer(node) ? undefined : node,
      );
    } else if ((name === "folder" || name === "largest" || name === "found") && item.rest === undefined) {
      this.page.open(item, true);
    } else if (name === "types") {
      this.page.colorBy("type");
    } else if (name === "ages") {
      this.page.colorBy("age");
    }
  }

  choose(node, hasFocus) {
    const { listing, isFilled } = this.panels.get("folder");
    if (isFilled) listing.choose(node, { hasFocus: hasFocus && this.selected === "folder" });
    if (hasFocus && this.selected !== "folder") this.focus();
  }

  focus() {
    this.panels.get(this.selected).listing.focus();
  }

  hasFocus() {
    return this.room.contains(document.activeElement);
  }

  selectNumber(number) {
    const names = [...this.panels.keys()].filter((name) => !this.tabOf(name).hidden);
    if (names[number - 1] === undefined) return;
    this.select(names[number - 1]);
    this.focus();
  }

  pressedInTabs(event) {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (step === undefined) return;
    const names = [...this.panels.keys()].filter((name) => !this.tabOf(name).hidden);
    const next = names[(names.indexOf(this.selected) + step + names.length) % names.length];
    this.select(next);
    this.tabOf(next).focus();
    event.preventDefault();
  }
}
