// The page: which folder is looked at, what is chosen in it, and what keys and clicks do.

import { aboutLine, notices, origin } from "./about.js";
import { colorOf, css, meanings, typeColor } from "./colors.js";
import { decoded, expanded, opened } from "./data.js";
import { keysOf } from "./help.js";
import { FRAME, TAIL } from "./layout.js";
import { element } from "./listing.js";
import { Panels } from "./panels.js";
import { Picture } from "./picture.js";
import { Search } from "./search.js";
import { Theme } from "./theme.js";
import { Tip } from "./tip.js";
import { Tree } from "./tree.js";
import { counted, day, shown, signedSize, size } from "./words.js";

const byId = (id) => document.getElementById(id);
const STEPS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

class Page {
  constructor(tree) {
    this.tree = tree;
    this.facts = tree.facts;
    this.step = this.facts.isBinary ? 1024 : 1000;
    this.folder = 0;
    this.chosen = undefined;
    this.picture = new Picture(byId("picture"), tree, this.step);
    this.picture.marks = () => this.placeMarks();
    this.tip = new Tip(byId("tip"), tree, this.step);
    this.search = new Search(tree);
    this.panels = new Panels(this);
    this.theme = new Theme(byId("theme"), () => this.picture.draw());
    this.describe();
    this.listen();
  }

  size(bytes) {
    return size(bytes, this.step);
  }

  signed(bytes) {
    return signedSize(bytes, this.step);
  }

  /** What does not change: what was scanned, where and when. */
  describe() {
    const { facts, tree } = this;
    const path = shown(tree.name(0));
    document.title = `${path} – disk usage, ${day(facts.scannedAt)}`;
    byId("title").textContent = path;
    byId("about").textContent = aboutLine(tree, this.step);
    byId("notice").textContent = notices(facts).join("\n");
    byId("notice").hidden = byId("notice").textContent === "";
    byId("made").textContent = origin(facts);
    const colorings = [
      ["type", "Colour by type"],
      ["age", "Colour by age"],
    ];
    if (tree.change) colorings.unshift(["change", "Colour by change"]);
    for (const [value, text] of colorings) byId("coloring").append(element("option", { value }, text));
    this.picture.coloring = colorings[0][0];
    byId("search").disabled = byId("coloring").disabled = false;
    byId("waiting").hidden = true;
    byId("keys").append(...keysOf(() => byId("keys").close()));
  }

  listen() {
    const canvas = byId("picture");
    canvas.addEventListener("click", (event) => this.clicked(event));
    canvas.addEventListener("mousemove", (event) => this.pointed(this.picture.at(event.offsetX, event.offsetY), event));
    canvas.addEventListener("mouseleave", () => this.pointed(undefined));
    canvas.addEventListener("wheel", (event) => this.wheeled(event), { passive: false });
    canvas.addEventListener("keydown", (event) => this.pressedInPicture(event));
    canvas.addEventListener("blur", () => this.tip.hide());
    document.addEventListener("keydown", (event) => this.pressed(event));
    byId("coloring").addEventListener("change", () => this.colorBy(byId("coloring").value));
    byId("help").addEventListener("click", () => byId("keys").showModal());
    let typing;
    byId("search").addEventListener("input", () => {
      clearTimeout(typing);
      typing = setTimeout(() => this.find(byId("search").value), this.tree.count > 200000 ? 250 : 80);
    });
    byId("search").addEventListener("keydown", (event) => this.pressedInSearch(event));
    new ResizeObserver(() => {
      if (this.isPrinting || (canvas.clientWidth === this.picture.width && canvas.clientHeight === this.picture.height))
        return;
      this.pointed(undefined);
      this.picture.show(this.folder);
    }).observe(canvas);
    addEventListener("hashchange", () => this.followAddress());
    addEventListener("beforeprint", () => this.beginPrint());
    addEventListener("afterprint", () => this.endPrint());
  }

  /** Looks into a folder. What was chosen before stays so, where it lies right in it. */
  enter(folder, chosen = undefined) {
    const before = this.folder;
    this.folder = folder;
    this.chosen = chosen;
    this.tip.hide();
    this.pointedTile = undefined;
    this.picture.show(folder);
    const stage = byId("picture").parentElement;
    stage.classList.remove("goes-in", "goes-out");
    if (before !== folder) {
      void stage.offsetWidth; // so that the next one begins from its start
      stage.classList.add(this.tree.isWithin(folder, before) ? "goes-in" : "goes-out");
    }
    const hash = folder === 0 ? "" : `#${folder}`;
    if (location.hash !== hash) location.hash = hash;
    this.showWay();
    const text = `${shown(this.tree.name(folder))}: ${this.size(this.tree.bytes[folder])}, ${counted(this.tree.below[folder], "item")}`;
    byId("picture").setAttribute("aria-label", `Picture of ${text}`);
    byId("said").textContent = text;
  }

  /** The lists of the folder: a moment after its picture. */
  enterWithLists(folder, chosen, hasFocus = false) {
    this.enter(folder, chosen);
    this.panels.show(folder);
    this.showLegend();
    if (chosen !== undefined) this.panels.choose(chosen, hasFocus);
    else if (hasFocus) this.panels.focus();
  }

  /** Into a folder, or to where a file lies. */
  open(node, hasFocus = false) {
    if (node === undefined) return;
    if (this.tree.isContainer(node)) this.enterWithLists(node, undefined, hasFocus);
    else if (this.tree.parent[node] !== this.folder) this.enterWithLists(this.tree.parent[node], node, hasFocus);
    else this.choose(node);
  }

  up(hasFocus = false) {
    if (this.folder !== 0) this.enterWithLists(this.tree.parent[this.folder], this.folder, hasFocus);
  }

  choose(node) {
    this.chosen = node;
    this.placeMarks();
  }

  /** The folder that the address names, so that going back, and loading again, stay in it. */
  folderInAddress() {
    const node = Number(location.hash.slice(1));
    return Number.isInteger(node) && node > 0 && node < this.tree.count && this.tree.isContainer(node) ? node : 0;
  }

  followAddress() {
    if (this.folderInAddress() !== this.folder) this.enterWithLists(this.folderInAddress());
  }

  showWay() {
    const list = element("ol");
    const way = this.tree.way(this.folder);
    // Of a very deep folder the first and the last ones.
    const most = 40;
    const nodes = way.length > most ? [...way.slice(0, 3), -1, ...way.slice(3 - most)] : way;
    for (const node of nodes) {
      if (node < 0) {
        list.append(element("li", {}, " … "));
        continue;
      }
      const button = element("button", { type: "button" }, element("bdi", {}, shown(this.tree.name(node))));
      if (node === this.folder) button.setAttribute("aria-current", "page");
      button.addEventListener("click", () => this.enterWithLists(node, way[way.indexOf(node) + 1], false));
      list.append(element("li", {}, button));
    }
    byId("way").replaceChildren(list);
    byId("way").scrollLeft = byId("way").scrollWidth;
  }

  showLegend() {
    const rows = meanings(this.tree, this.picture.coloring, this.panels.types);
    byId("legend").replaceChildren(
      ...rows.map(([name, color]) => {
        const swatch = element("span", { className: "swatch" });
        swatch.style.background = css(color);
        return element("li", {}, swatch, name);
      }),
    );
  }

  colorBy(coloring) {
    this.picture.coloring = coloring;
    byId("coloring").value = coloring;
    this.picture.draw();
    this.panels.recolor();
    this.showLegend();
  }

  swatch(node) {
    const mark = element("span", { className: this.tree.isContainer(node) ? "swatch folder" : "swatch" });
    mark.setAttribute("aria-hidden", "true");
    mark.style.background = css(colorOf(this.tree, this.picture.coloring, node));
    return mark;
  }

  typeSwatch(type) {
    const mark = element("span", { className: "swatch" });
    mark.style.background = css(typeColor(type));
    return mark;
  }

  // The search.

  find(words) {
    const found = this.search.find(words);
    this.picture.isFound = found?.isFound ?? null;
    this.picture.draw();
    this.panels.showFound(found, words.trim());
    if (found) byId("said").textContent = `${counted(found.nodes.length, "item")} found`;
  }

  pressedInSearch(event) {
    this.pointed(undefined);
    if (event.key === "Escape") {
      event.target.value = "";
      this.find("");
      this.panels.focus();
    } else if (event.key === "Enter" || event.key === "ArrowDown") {
      this.find(event.target.value);
      this.panels.focus();
      event.preventDefault();
    }
    event.stopPropagation();
  }

  // Keys and the mouse.

  pressed(event) {
    this.pointed(undefined);
    if (event.ctrlKey || event.metaKey || event.altKey || byId("keys").open || event.target.matches?.("input, select"))
      return;
    const actions = {
      "/": () => byId("search").focus(),
      "?": () => byId("keys").showModal(),
      Backspace: () => this.up(this.panels.hasFocus()),
      "+": () => this.zoomIn(),
      "-": () => this.up(this.panels.hasFocus()),
      0: () => this.enterWithLists(0, undefined, this.panels.hasFocus()),
      c: () => this.nextColoring(),
      t: () => this.theme.next(),
      m: () => byId("picture").focus(),
      l: () => this.panels.focus(),
      Escape: () => this.find((byId("search").value = "")),
    };
    // The tabs by their number.
    if (/^[1-9]$/.test(event.key)) actions[event.key] = () => this.panels.selectNumber(Number(event.key));
    if (!Object.hasOwn(actions, event.key)) return;
    actions[event.key]();
    event.preventDefault();
  }

  nextColoring() {
    const values = [...byId("coloring").options].map((option) => option.value);
    this.colorBy(values[(values.indexOf(this.picture.coloring) + 1) % values.length]);
  }

  /** Into what is chosen, or else into the largest folder. */
  zoomIn() {
    const folders = [...this.tree.childrenOf(this.folder)].filter((node) => this.tree.isContainer(node));
    const largest = folders.reduce(
      (a, b) => (a === undefined || this.tree.bytes[b] > this.tree.bytes[a] ? b : a),
      undefined,
    );
    this.open(
      this.chosen !== undefined && this.tree.isContainer(this.chosen) ? this.chosen : largest,
      this.panels.hasFocus(),
    );
  }

  pressedInPicture(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.key in STEPS) {
      event.stopPropagation(); // so that the tip stays
      const next = this.picture.beside(this.chosen, STEPS[event.key]);
      if (next !== undefined) {
        this.choose(next);
        this.panels.choose(next, false);
        this.showTipOf(next);
        byId("said").textContent = `${shown(this.tree.name(next))}, ${this.size(this.tree.bytes[next])}`;
      }
    } else if (event.key === "Enter" || event.key === " ") {
      if (this.chosen !== undefined && this.tree.isContainer(this.chosen)) this.open(this.chosen);
    } else {
      return;
    }
    event.preventDefault();
  }

  /** The item right in the folder that holds the tile. */
  topOf(tile) {
    let node = tile.node;
    if (node === this.folder) return undefined;
    while (this.tree.parent[node] !== this.folder) node = this.tree.parent[node];
    return node;
  }

  clicked(event) {
    const tile = this.picture.at(event.offsetX, event.offsetY);
    if (!tile) return;
    // The folder whose name was clicked at; of a file the one that it lies in, or the file where that is looked at.
    const folder =
      tile.kind === FRAME || tile.kind === TAIL || this.tree.isContainer(tile.node)
        ? tile.node
        : this.tree.parent[tile.node];
    if (folder !== this.folder) {
      this.enterWithLists(folder, folder === tile.node ? undefined : tile.node);
    } else if (tile.kind !== TAIL) {
      this.choose(tile.node);
      this.panels.choose(tile.node, false);
    }
  }

  /** One folder towards what is under the pointer, or out again; a touchpad's many small steps make one. */
  wheeled(event) {
    if (event.ctrlKey) return;
    event.preventDefault();
    const now = event.timeStamp;
    if (now - (this.wheelAt ?? 0) > 400) this.wheelSum = 0;
    this.wheelAt = now;
    if (this.wheelRest !== undefined && now < this.wheelRest) return;
    this.wheelSum = (this.wheelSum ?? 0) + event.deltaY * (event.deltaMode === 1 ? 30 : 1);
    if (Math.abs(this.wheelSum) < 50) return;
    const isIn = this.wheelSum < 0;
    this.wheelSum = 0;
    this.wheelRest = now + 180;
    if (!isIn) {
      this.up();
      return;
    }
    const tile = this.picture.at(event.offsetX, event.offsetY);
    const node = tile && this.topOf(tile);
    if (node !== undefined && this.tree.isContainer(node)) this.enterWithLists(node);
  }

  pointed(tile, event) {
    this.pointedTile = tile;
    this.placeMarks();
    if (!tile) this.tip.hide();
    else {
      const place = { x: event.clientX, y: event.clientY };
      this.tip.show(tile.node, { isTail: tile.kind === TAIL, folder: this.folder, ...place });
    }
  }

  /** An item that is pointed at in a list. */
  pointTo(node) {
    this.pointedTile = node === undefined ? undefined : this.picture.tileOf(node);
    this.placeMarks();
  }

  placeMarks() {
    const place = (frame, tile) => {
      frame.hidden = tile === undefined;
      if (!tile) return;
      for (const [key, value] of Object.entries({ left: tile.x, top: tile.y, width: tile.w, height: tile.h }))
        frame.style[key] = `${value}px`;
    };
    place(byId("pointed"), this.pointedTile);
    place(byId("chosen"), this.chosen === undefined ? undefined : this.picture.tileOf(this.chosen));
  }

  showTipOf(node) {
    const tile = this.picture.tileOf(node);
    if (!tile) return;
    const room = byId("picture").getBoundingClientRect();
    const x = room.left + tile.x + Math.min(tile.w / 2, 60);
    const y = room.top + tile.y + Math.min(tile.h / 2, 40);
    this.tip.show(node, { isTail: false, folder: this.folder, x, y });
  }

  // Paper: everything at once, light.

  beginPrint() {
    this.isPrinting = true;
    document.documentElement.dataset.theme = "light";
    this.tip.hide();
    this.panels.showAll();
    this.picture.show(this.folder, 1000, 560, 2);
  }

  endPrint() {
    this.isPrinting = false;
    this.theme.apply();
    this.panels.select(this.panels.selected);
    this.picture.show(this.folder);
  }
}

async function begin() {
  const block = byId("data");
  const items = opened(await expanded(block.textContent));
  block.textContent = ""; // a page of a million items should not hold them twice
  const page = new Page(new Tree(items.facts, decoded(items)));
  page.enter(page.folderInAddress());
  performance.mark("kestrel-picture");
  requestAnimationFrame(() =>
    setTimeout(() => {
      page.panels.show(page.folder);
      page.showLegend();
      performance.mark("kestrel-lists");
      document.documentElement.dataset.state = "ready";
    }),
  );
}

begin().catch((error) => {
  byId("waiting").textContent =
    typeof DecompressionStream === "undefined"
      ? "This browser is too old for the report: any of 2023 or later shows it."
      : `The report can't be read: ${error.message}`;
  document.documentElement.dataset.state = "failed";
});
