// The tree: only the rows that are unfolded and in sight are drawn.

import {describe} from "./model.js";

const rowHeight = 22;
const beyond = 8;
const rowsAtFirst = 40;

export class TreeView {
  /// `events`: select(item) and hover(item or null).
  constructor(container, events) {
    this.container = container;
    this.events = events;
    this.model = null;
    this.unfolded = new Set();
    this.rows = [];
    this.rowOf = new Map();
    this.selected = null;
    this.marked = new Set();
    this.space = document.createElement("div");
    this.space.className = "space";
    this.space.setAttribute("role", "presentation");
    container.append(this.space);
    container.addEventListener("scroll", () => this.scheduleDraw());
    container.addEventListener("click", (event) => this.clicked(event));
    container.addEventListener("keydown", (event) => this.pressed(event));
    container.addEventListener("mousemove", (event) => events.hover(this.itemAt(event)));
    container.addEventListener("mouseleave", () => events.hover(null));
    new ResizeObserver(() => this.scheduleDraw()).observe(container);
  }

  setModel(model) {
    const before = this.model;
    this.model = model;
    if (before && before.root.element.id === model.root.element.id) {
      this.carryOver(before);
    } else {
      this.unfolded.clear();
      this.unfoldAtFirst();
    }
    this.selected = this.selected && model.counterpart(this.selected);
    this.layOut();
  }

  /// Elements whose label has changed have another id, and stay as they are.
  carryOver(before) {
    const unfolded = new Set();
    for (const id of this.unfolded) {
      const was = before.byId.get(id);
      const now = was && this.model.counterpart(was);
      if (now) unfolded.add(now.element.id);
    }
    this.unfolded = unfolded;
  }

  /// Level by level, as long as it fits.
  unfoldAtFirst() {
    let rows = 1;
    let level = [this.model.root];
    while (level.length > 0) {
      const next = [];
      for (const item of level) {
        const children = this.childrenOf(item);
        if (item.parent && rows + children.length > rowsAtFirst) continue;
        this.unfolded.add(item.element.id);
        rows += children.length;
        next.push(...children);
      }
      level = next;
    }
  }

  childrenOf(item) {
    const children = [];
    for (let i = item.index + 1; i < item.end; i = this.model.items[i].end) children.push(this.model.items[i]);
    return children;
  }

  /// The rows that are unfolded, in order.
  layOut() {
    this.rows = [];
    const {items} = this.model;
    for (let i = 0; i < items.length;) {
      this.rows.push(items[i]);
      i = this.unfolded.has(items[i].element.id) ? i + 1 : items[i].end;
    }
    this.rowOf = new Map(this.rows.map((item, row) => [item, row]));
    this.space.style.height = `${this.rows.length * rowHeight}px`;
    this.draw();
  }

  scheduleDraw() {
    if (this.scheduled) return;
    this.scheduled = requestAnimationFrame(() => {
      this.scheduled = 0;
      if (this.model) this.draw();
    });
  }

  draw() {
    const first = Math.max(0, Math.floor(this.container.scrollTop / rowHeight) - beyond);
    const count = Math.ceil(this.container.clientHeight / rowHeight) + 2 * beyond;
    const shown = this.rows.slice(first, first + count).map((item, i) => this.drawRow(item, first + i));
    this.space.replaceChildren(...shown);
    const row = this.rowOf.get(this.selected);
    const isDrawn = row !== undefined && row >= first && row < first + count;
    if (isDrawn) this.container.setAttribute("aria-activedescendant", `row-${row}`);
    else this.container.removeAttribute("aria-activedescendant");
  }

  drawRow(item, row) {
    const {element} = item;
    const line = document.createElement("div");
    line.id = `row-${row}`;
    line.className = "row";
    line.item = item;
    line.style.top = `${row * rowHeight}px`;
    line.style.paddingLeft = `${Math.min(item.depth, 24) * 14 + 4}px`;
    const isInside = item.end > item.index + 1;
    const attributes = {role: "treeitem", "aria-level": item.depth + 1, "aria-setsize": item.siblings,
      "aria-posinset": item.place, "aria-selected": item === this.selected, "aria-label": describe(element)};
    if (isInside) attributes["aria-expanded"] = this.unfolded.has(element.id);
    for (const name of Object.keys(attributes)) line.setAttribute(name, attributes[name]);
    line.classList.toggle("selected", item === this.selected);
    line.classList.toggle("marked", this.marked.has(item));
    line.classList.toggle("off", element.enabled === false);
    const fold = isInside ? (this.unfolded.has(element.id) ? "▾" : "▸") : "";
    line.append(part("fold", fold), part("role", element.role), part("label", element.label || element.identifier),
      part("value", element.value && element.value.slice(0, 200)));
    return line;
  }

  itemAt(event) {
    const line = event.target.closest(".row");
    return line ? line.item : null;
  }

  clicked(event) {
    const item = this.itemAt(event);
    if (!item) return;
    if (event.target.classList.contains("fold")) this.fold(item, !this.unfolded.has(item.element.id));
    else this.events.select(item);
  }

  fold(item, unfold) {
    if (unfold) this.unfolded.add(item.element.id);
    else this.unfolded.delete(item.element.id);
    this.layOut();
  }

  /// Shows an element, unfolding what it is in.
  select(item) {
    this.selected = item;
    let folded = false;
    for (let each = item && item.parent; each; each = each.parent) {
      folded = folded || !this.unfolded.has(each.element.id);
      this.unfolded.add(each.element.id);
    }
    if (folded) this.layOut();
    const top = (this.rowOf.get(item) || 0) * rowHeight;
    const {scrollTop, clientHeight} = this.container;
    if (item && (top < scrollTop || top + rowHeight > scrollTop + clientHeight)) {
      this.container.scrollTop = top - clientHeight / 2;
    }
    this.draw();
  }

  mark(items) {
    this.marked = new Set(items);
    if (this.model) this.draw();
  }

  pressed(event) {
    if (!this.model || event.ctrlKey || event.altKey || event.metaKey) return;
    const item = this.selected || this.model.root;
    const row = this.rowOf.has(item) ? this.rowOf.get(item) : 0;
    const page = Math.max(1, Math.floor(this.container.clientHeight / rowHeight) - 1);
    const rows = {ArrowDown: row + 1, ArrowUp: row - 1, PageDown: row + page, PageUp: row - page, Home: 0,
      End: this.rows.length - 1};
    const isOpen = this.unfolded.has(item.element.id) && item.end > item.index + 1;
    if (event.key in rows) {
      const wanted = this.selected ? rows[event.key] : 0;
      this.events.select(this.rows[Math.min(Math.max(wanted, 0), this.rows.length - 1)]);
    } else if (event.key === "ArrowRight") {
      if (isOpen) this.events.select(this.rows[row + 1]);
      else this.fold(item, true);
    } else if (event.key === "ArrowLeft") {
      if (isOpen) this.fold(item, false);
      else if (item.parent) this.events.select(item.parent);
    } else {
      return;
    }
    event.preventDefault();
  }
}

function part(name, text) {
  const span = document.createElement("span");
  span.className = name;
  span.textContent = text || "";
  return span;
}
