// Finds words in names, in any case. All names are one text in lower case, with a zero between them: made at the first
// search, some tenths of a second for a million names.

const ZERO = "\0";

export class Search {
  constructor(tree) {
    this.tree = tree;
    this.text = null;
  }

  prepare() {
    if (this.text !== null) return;
    const folded = (text) => text.normalize("NFC").toLowerCase();
    this.folded = folded;
    this.text = folded(new TextDecoder().decode(this.tree.names));
    this.starts = new Uint32Array(this.tree.count + 1);
    let at = 0;
    for (let i = 0; i < this.tree.count; i++) {
      this.starts[i] = at;
      at = this.text.indexOf(ZERO, at) + 1;
    }
    this.starts[this.tree.count] = at;
  }

  /** The item in whose name the place lies. */
  nodeAt(place) {
    let least = 0;
    let most = this.tree.count - 1;
    while (least < most) {
      const middle = (least + most + 1) >> 1;
      if (this.starts[middle] <= place) least = middle;
      else most = middle - 1;
    }
    return least;
  }

  /**
   * The items below the top with all words in their names, largest first; which items they are, lie in one of them, or
   * hold one; and their bytes together, none counted twice. Null without words.
   */
  find(words) {
    this.prepare();
    const parts = this.folded(words).split(/\s+/u).filter(Boolean);
    if (parts.length === 0) return null;
    const longest = parts.reduce((a, b) => (b.length > a.length ? b : a));
    const tree = this.tree;
    const isFound = new Uint8Array(tree.count);
    const nodes = [];
    for (let at = this.text.indexOf(longest); at >= 0;) {
      const node = this.nodeAt(at);
      const end = this.starts[node + 1] - 1;
      const name = this.text.slice(this.starts[node], end);
      if (node > 0 && parts.every((part) => name.includes(part))) {
        isFound[node] = 1;
        nodes.push(node);
      }
      at = this.text.indexOf(longest, end);
    }
    let bytes = 0;
    for (let i = 1; i < tree.count; i++) {
      const isInFound = isFound[tree.parent[i]] === 1; // which stands before it
      if (isFound[i] && !isInFound) bytes += tree.weight(i);
      if (isInFound) isFound[i] = 1;
    }
    for (let i = tree.count - 1; i > 0; i--) if (isFound[i]) isFound[tree.parent[i]] = 1;
    nodes.sort((a, b) => tree.bytes[b] - tree.bytes[a] || a - b);
    return { nodes, isFound, bytes };
  }
}
