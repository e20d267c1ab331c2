// A table that is walked with the keys: one row is chosen, and is what has the focus. Long ones are shown in parts.

const PART = 300;

/** An element with properties, and children that are texts or elements. Texts are never markup. */
export function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key in made && key !== "role") made[key] = value;
    else made.setAttribute(key, value);
  }
  made.append(...children.filter((child) => child !== null && child !== undefined));
  return made;
}

/**
 * @param columns {title, className, text(item), value(item), isDescending}: `text` gives a text or an element; without
 *     `value` nobody can sort by it.
 * @param actions open(item): in, or there; up(); choose(item): the row was walked to
 */
export class Listing {
  constructor(label, columns, actions) {
    this.columns = columns;
    this.actions = actions;
    this.head = element("tr");
    this.body = element("tbody");
    this.more = element("button", { type: "button", className: "more" });
    this.table = element("table", { role: "grid" }, element("thead", {}, this.head), this.body);
    this.table.setAttribute("aria-label", label);
    this.empty = element("p", { className: "empty" });
    this.element = element("div", { className: "listing" }, this.table, this.empty, this.more);
    this.items = [];
    this.sorting = null;
    this.shownItems = 0;
    columns.forEach((column, i) => this.head.append(this.headCell(column, i)));
    this.more.addEventListener("click", () => this.showMore());
    this.body.addEventListener("click", (event) => this.clicked(event));
    this.body.addEventListener("keydown", (event) => this.pressed(event));
    this.body.addEventListener("focusin", (event) => this.focused(event));
    this.body.addEventListener("mouseover", (event) => {
      const row = event.target.closest("tr");
      if (row) this.actions.point?.(this.items[row.sectionRowIndex]);
    });
    this.body.addEventListener("mouseleave", () => this.actions.point?.(undefined));
  }

  headCell(column, i) {
    const cell = element("th", { scope: "col", className: column.className ?? "" });
    if (!column.value) {
      cell.append(column.title);
      return cell;
    }
    const button = element("button", { type: "button" }, column.title);
    button.addEventListener("click", () => this.sortBy(i));
    cell.append(button);
    return cell;
  }

  /** The items in their order; `emptyText` stands in their place when there are none. */
  fill(items, emptyText = "") {
    this.items = items;
    this.sorting = null;
    this.empty.textContent = items.length === 0 ? emptyText : "";
    this.table.hidden = items.length === 0;
    this.render();
  }

  sortBy(number) {
    const column = this.columns[number];
    const first = column.isDescending ?? true;
    const isDescending = this.sorting?.number === number ? !this.sorting.isDescending : first;
    this.sorting = { number, isDescending };
    const keyed = Array.from(this.items, (item, i) => ({ item, i, key: column.value(item) }));
    const sign = isDescending ? -1 : 1;
    const compare =
      typeof keyed[0]?.key === "string"
        ? (a, b) => sign * ORDER.compare(a.key, b.key) || a.i - b.i
        : (a, b) => unknownLast(a.key, b.key) || sign * (a.key - b.key) || a.i - b.i;
    this.items = keyed.sort(compare).map((each) => each.item);
    this.render();
  }

  render() {
    this.body.replaceChildren();
    this.shownItems = 0;
    [...this.head.children].forEach((cell, i) => {
      const isSorted = this.sorting?.number === i;
      if (isSorted) cell.setAttribute("aria-sort", this.sorting.isDescending ? "descending" : "ascending");
      else cell.removeAttribute("aria-sort");
    });
    this.showMore();
  }

  showMore() {
    const end = Math.min(this.items.length, this.shownItems + PART);
    const rows = document.createDocumentFragment();
    for (let i = this.shownItems; i < end; i++) rows.append(this.rowOf(this.items[i], i));
    this.body.append(rows);
    this.shownItems = end;
    const left = this.items.length - end;
    this.more.hidden = left === 0;
    this.more.textContent = `Show ${Math.min(left, PART)} more of ${left.toLocaleString("en-US")}`;
  }

  rowOf(item, i) {
    const row = element("tr", { tabIndex: i === 0 ? 0 : -1 });
    for (const column of this.columns) {
      const cell = element("td", { className: column.className ?? "" });
      const content = column.text(item);
      if (column.isName) cell.append(element("bdi", {}, content));
      else cell.append(content);
      row.append(cell);
    }
    const part = this.actions.part?.(item);
    if (part !== undefined) row.style.setProperty("--part", `${Math.max(0, Math.min(100, part * 100))}%`);
    const mark = this.actions.mark?.(item);
    if (mark) row.firstElementChild.prepend(mark);
    return row;
  }

  /** Puts the focus, or only the place where it will come back to, onto the row of an item that is shown. */
  choose(item, { hasFocus }) {
    const i = this.items.indexOf(item);
    if (i < 0) return;
    while (i >= this.shownItems) this.showMore();
    this.mark(this.body.rows[i], hasFocus);
  }

  mark(row, hasFocus) {
    for (const other of this.body.querySelectorAll('[tabindex="0"]')) {
      other.tabIndex = -1;
      other.removeAttribute("aria-selected");
    }
    row.tabIndex = 0;
    row.setAttribute("aria-selected", "true");
    if (hasFocus) row.focus();
    else row.scrollIntoView({ block: "nearest" });
  }

  focus() {
    this.body.querySelector('[tabindex="0"]')?.focus();
  }

  clicked(event) {
    const row = event.target.closest("tr");
    if (row) this.actions.open?.(this.items[row.sectionRowIndex]);
  }

  focused(event) {
    const row = event.target.closest("tr");
    if (!row) return;
    this.mark(row, false);
    this.actions.choose?.(this.items[row.sectionRowIndex]);
  }

  pressed(event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const row = event.target.closest("tr");
    const last = this.items.length - 1;
    const at = row.sectionRowIndex;
    const page = 10;
    const steps = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: last, PageDown: at + page, PageUp: at - page };
    if (event.key in steps) {
      const next = Math.max(0, Math.min(last, steps[event.key]));
      while (next >= this.shownItems) this.showMore();
      this.body.rows[next].focus();
    } else if (event.key === "Enter" || event.key === "ArrowRight") {
      this.actions.open?.(this.items[at]);
    } else if (event.key === "Backspace" || event.key === "ArrowLeft") {
      this.actions.up?.();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }
}

const ORDER = new Intl.Collator("en", { numeric: true, sensitivity: "base" });
const unknownLast = (a, b) => Number(Number.isNaN(a)) - Number(Number.isNaN(b));
