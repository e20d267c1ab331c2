// The folder as a picture on a canvas. It draws, and knows which tile is where; what happens then is the page's part.

import { FRAME, ITEM, TAIL, tilesOf } from "./layout.js";
import { colorOf, css, ink, mixed, tailColor } from "./colors.js";
import { counted, shown, size } from "./words.js";

const FONT = 'system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", sans-serif';

export class Picture {
  constructor(canvas, tree, step) {
    this.canvas = canvas;
    this.tree = tree;
    this.step = step; // of sizes: 1000 or 1024
    this.context = canvas.getContext("2d", { alpha: false });
    this.folder = 0;
    this.coloring = "type";
    this.isFound = null; // a value for each item: 1 of those that are not dimmed, and what holds them; null: all
    this.tiles = [];
    this.width = 0;
    this.height = 0;
  }

  /** Lays the folder out in the room that the canvas has, and draws it. */
  show(folder, width = this.canvas.clientWidth, height = this.canvas.clientHeight, scale = devicePixelRatio || 1) {
    this.folder = folder;
    this.width = width;
    this.height = height;
    this.scale = scale;
    this.canvas.width = Math.max(1, Math.round(width * scale));
    this.canvas.height = Math.max(1, Math.round(height * scale));
    this.tiles = tilesOf(this.tree, folder, width, height);
    this.draw();
  }

  draw() {
    const style = getComputedStyle(document.documentElement);
    const color = (name) => style.getPropertyValue(name).trim();
    this.ground = color("--picture");
    this.frames = [color("--frame-even"), color("--frame-odd")];
    this.frameInk = color("--frame-ink");
    const context = this.context;
    context.setTransform(this.scale, 0, 0, this.scale, 0, 0);
    context.globalAlpha = 1;
    context.fillStyle = this.ground;
    context.fillRect(0, 0, this.width, this.height);
    context.textBaseline = "middle";
    if (this.tiles.length === 0) {
      context.fillStyle = this.frameInk;
      context.font = `14px ${FONT}`;
      context.textAlign = "center";
      context.fillText("Nothing in it takes any room.", this.width / 2, this.height / 2);
      context.textAlign = "left";
    }
    for (const tile of this.tiles) this.drawTile(tile);
    this.drawMarks();
  }

  drawTile(tile) {
    const context = this.context;
    // Whole pixels, so that edges are sharp and what lies side by side meets.
    const x = Math.round(tile.x);
    const y = Math.round(tile.y);
    const w = Math.round(tile.x + tile.w) - x;
    const h = Math.round(tile.y + tile.h) - y;
    if (w < 1 || h < 1) return;
    const isDimmed = this.isFound !== null && tile.kind !== FRAME && !this.holdsFound(tile);
    context.globalAlpha = isDimmed ? 0.16 : 1;
    if (tile.kind === FRAME) {
      context.fillStyle = this.frames[tile.depth % 2];
      context.fillRect(x, y, Math.max(1, w - 1), Math.max(1, h - 1));
      if (tile.hasTitle) this.drawTitle(tile, x, y, w);
      return;
    }
    const plain =
      tile.kind === TAIL
        ? tailColor(this.tree, this.coloring, tile.node, tile.least)
        : colorOf(this.tree, this.coloring, tile.node);
    const fill = tile.kind === ITEM && tile.node % 2 === 1 ? mixed(plain, [255, 255, 255], 0.1) : plain;
    context.fillStyle = css(fill);
    const gap = w > 3 && h > 3 ? 1 : 0;
    context.fillRect(x, y, w - gap, h - gap);
    if (w < 38 || h < 15) return;
    context.fillStyle = css(ink(plain)); // alike in neighbours of one colour
    context.font = `12px ${FONT}`;
    const text = tile.kind === TAIL ? this.tailText(tile.node) : shown(this.tree.name(tile.node));
    context.fillText(this.fitting(text, w - 9), x + 4, y + Math.min(h / 2, 10) + 0.5);
    if (h >= 32) {
      const bytes = tile.kind === TAIL ? "" : size(this.tree.weight(tile.node), this.step);
      context.globalAlpha *= 0.75;
      context.font = `11px ${FONT}`;
      if (context.measureText(bytes).width <= w - 8) context.fillText(bytes, x + 4, y + 24.5);
    }
  }

  holdsFound(tile) {
    if (tile.kind !== TAIL) return this.isFound[tile.node] === 1;
    if (!this.isFound[tile.node]) return false;
    for (const child of this.tree.childrenOf(tile.node)) {
      if (this.isFound[child] && this.tree.weight(child) < tile.least) return true;
    }
    return false;
  }

  drawTitle(tile, x, y, w) {
    const context = this.context;
    const bytes = size(this.tree.bytes[tile.node], this.step);
    context.fillStyle = this.frameInk;
    context.font = `11px ${FONT}`;
    const room = context.measureText(bytes).width;
    const hasSize = w > room + 70;
    if (hasSize) {
      context.globalAlpha = 0.7;
      context.fillText(bytes, x + w - room - 7, y + 10);
      context.globalAlpha = 1;
    }
    context.font = `600 12px ${FONT}`;
    context.fillText(this.fitting(shown(this.tree.name(tile.node)), w - (hasSize ? room + 18 : 10)), x + 5, y + 10);
  }

  tailText(folder) {
    const rest = this.tree.rests.get(folder);
    return rest ? counted(rest.items, "smaller item") : "smaller items";
  }

  /** As much of the text as has room, the end of a name kept. */
  fitting(text, room) {
    if (text.length > 300) text = `${text.slice(0, 200)}…${text.slice(-80)}`;
    const context = this.context;
    if (context.measureText(text).width <= room) return text;
    let least = 0;
    let most = text.length;
    const cut = (length) => {
      const tail = Math.floor(length / 3);
      return `${text.slice(0, length - tail)}…${tail > 0 ? text.slice(-tail) : ""}`;
    };
    while (least < most) {
      const middle = (least + most + 1) >> 1;
      if (context.measureText(cut(middle)).width <= room) least = middle;
      else most = middle - 1;
    }
    return least > 0 ? cut(least) : "";
  }

  /** Frames around the chosen tile and the one under the pointer, on a layer of their own. */
  drawMarks() {
    this.marks?.(this);
  }

  tileOf(node) {
    return this.tiles.find((tile) => tile.node === node && tile.kind !== TAIL);
  }

  /** The innermost tile there. */
  at(x, y) {
    for (let i = this.tiles.length - 1; i >= 0; i--) {
      const tile = this.tiles[i];
      if (x >= tile.x && y >= tile.y && x < tile.x + tile.w && y < tile.y + tile.h) return tile;
    }
    return undefined;
  }

  /** The tile on that side of another, among those right in the folder: the nearest that lies beyond its edge. */
  beside(node, [dx, dy]) {
    const tops = this.tiles.filter((tile) => tile.depth === 0 && tile.kind !== TAIL);
    const from = tops.find((tile) => tile.node === node);
    if (!from) return tops[0]?.node;
    const middle = (tile) => [tile.x + tile.w / 2, tile.y + tile.h / 2];
    const [x, y] = middle(from);
    let best = node;
    let least = Infinity;
    for (const tile of tops) {
      const [tx, ty] = middle(tile);
      const ahead = (tx - x) * dx + (ty - y) * dy;
      const isBeyond =
        dx > 0
          ? tile.x >= from.x + from.w - 1
          : dx < 0
            ? tile.x + tile.w <= from.x + 1
            : dy > 0
              ? tile.y >= from.y + from.h - 1
              : tile.y + tile.h <= from.y + 1;
      if (tile === from || !isBeyond) continue;
      const aside = Math.abs(tx - x) * Math.abs(dy) + Math.abs(ty - y) * Math.abs(dx);
      const distance = ahead + 2 * aside;
      if (distance < least) [best, least] = [tile.node, distance];
    }
    return best;
  }
}
