// A squarified treemap: rectangles of given areas, as near to squares as rows of them can be.

/**
 * Fills the rectangle with the weights, largest first: calls `place(i, x, y, width, height)` for each. A row is begun
 * along the shorter side and takes weights as long as that makes its worst rectangle better.
 */
export function squarify(weights, x, y, width, height, place) {
  let left = 0;
  for (const weight of weights) left += weight;
  let i = 0;
  while (i < weights.length && left > 0 && width > 0 && height > 0) {
    const side = Math.min(width, height);
    const scale = (width * height) / left;
    const begin = i;
    let sum = 0;
    let worst = Infinity;
    for (; i < weights.length; i++) {
      const more = sum + weights[i];
      const thickness = (more * scale) / side;
      // The first of a row is its largest, the one that came now its smallest.
      const ratio = Math.max(
        (weights[begin] * scale) / (thickness * thickness),
        (thickness * thickness) / Math.max(weights[i] * scale, 1e-9),
      );
      if (ratio > worst) break;
      worst = ratio;
      sum = more;
    }
    const thickness = left - sum <= left * 1e-12 ? Math.max(width, height) : (sum * scale) / side;
    let along = 0;
    for (let each = begin; each < i; each++) {
      const length = (weights[each] / sum) * side;
      if (width >= height) place(each, x, y + along, thickness, length);
      else place(each, x + along, y, length, thickness);
      along += length;
    }
    if (width >= height) {
      x += thickness;
      width -= thickness;
    } else {
      y += thickness;
      height -= thickness;
    }
    left -= sum;
  }
}

export const ITEM = 0; // a file, or a folder that is too small to be looked into
export const FRAME = 1; // a folder around its items
export const TAIL = 2; // items of a folder that are too small, together

/** What is smaller than so many square pixels is put together. */
const LEAST = 10;
const TITLE = 19;

/**
 * The picture of a folder: tiles, each after the folder that it lies in. `node` is the item, or of a tail the folder, of
 * which it has the items that weigh less than `least`.
 */
export function tilesOf(tree, folder, width, height) {
  const tiles = [];
  const fill = (node, x, y, w, h, depth) => {
    const rest = tree.rests.get(node)?.bytes ?? 0;
    let sum = rest;
    for (let i = tree.first[node]; i < tree.first[node] + tree.children[node]; i++) sum += tree.weight(i);
    if (sum <= 0) return;
    const least = (LEAST * sum) / (w * h);
    const nodes = [];
    let tail = rest;
    for (let i = tree.first[node]; i < tree.first[node] + tree.children[node]; i++) {
      const weight = tree.weight(i);
      if (weight >= least) nodes.push(i);
      else tail += weight;
    }
    nodes.sort((a, b) => tree.bytes[b] - tree.bytes[a] || a - b);
    const weights = nodes.map((i) => tree.bytes[i]);
    if (tail >= least) weights.push(tail);
    squarify(weights, x, y, w, h, (i, left, top, wide, high) => {
      if (i === nodes.length) tiles.push({ kind: TAIL, node, least, x: left, y: top, w: wide, h: high, depth });
      else add(nodes[i], left, top, wide, high, depth);
    });
  };
  const add = (node, x, y, w, h, depth) => {
    const hasTitle = w >= 56 && h >= 40;
    const edge = w >= 16 && h >= 16 ? 2 : 1;
    const top = hasTitle ? TITLE : edge;
    const isOpen = tree.isContainer(node) && w > 8 && h > 8 && w * h > 12 * LEAST;
    tiles.push({ kind: isOpen ? FRAME : ITEM, node, x, y, w, h, depth, hasTitle: isOpen && hasTitle });
    if (isOpen) fill(node, x + edge, y + top, w - 2 * edge, h - top - edge, depth + 1);
  };
  fill(folder, 0, 0, width, height, 0);
  return tiles;
}
