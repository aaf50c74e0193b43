// A tree as it was read, and what can be said about it without asking the agent.

export const fields = ["role", "label", "identifier"];

/// The elements of a tree in its order. An item: the element, its path, depth, parent, its place among its siblings,
/// and where what is inside it ends.
export class Model {
  constructor(root) {
    this.items = [];
    this.byId = new Map();
    this.byPath = new Map();
    const waiting = [{element: root, path: "0", depth: 0, parent: null, place: 1, siblings: 1}];
    const open = [];
    while (waiting.length > 0) {
      const item = waiting.pop();
      while (open.length > item.depth) open.pop().end = this.items.length;
      item.index = this.items.length;
      this.items.push(item);
      open.push(item);
      this.byId.set(item.element.id, item);
      this.byPath.set(item.path, item);
      const children = item.element.children || [];
      for (let i = children.length - 1; i >= 0; --i) {
        waiting.push({element: children[i], path: `${item.path}/${i}`, depth: item.depth + 1, parent: item,
          place: i + 1, siblings: children.length});
      }
    }
    for (const item of open) item.end = this.items.length;
  }

  get root() {
    return this.items[0];
  }

  /// What an element of another reading is in this tree: by its id, else what is in its place and has its role.
  counterpart(item) {
    const found = this.byId.get(item.element.id);
    if (found) return found;
    const there = this.byPath.get(item.path);
    return there && there.element.role === item.element.role ? there : null;
  }

  /// What passes a search as the agent does it, but for patterns.
  find(query) {
    return this.items.filter(({element}) => passes(element, query));
  }

  /// The smallest element at a place of the desktop; of two of a size the one that is further inside.
  smallestAt(x, y) {
    let best = null;
    let bestArea = Infinity;
    for (const item of this.items) {
      const frame = item.element.frame;
      if (!frame || x < frame.x || y < frame.y || x >= frame.x + frame.width || y >= frame.y + frame.height) continue;
      const area = frame.width * frame.height;
      if (area > bestArea) continue;
      best = item;
      bestArea = area;
    }
    return best;
  }

  /// The shortest search that finds this element and no other; else the one that finds the fewest.
  shortestSearch(item) {
    let best = null;
    for (let choice = 1; choice < 8; ++choice) {
      const names = fields.filter((name, bit) => choice & (1 << bit));
      if (!names.every((name) => item.element[name])) continue;
      const query = {};
      for (const name of names) query[name] = item.element[name];
      const found = this.find(query);
      const length = JSON.stringify(query).length;
      if (best && (found.length > best.count || (found.length === best.count && length >= best.length))) continue;
      best = {query, length, count: found.length, position: found.indexOf(item) + 1};
    }
    return best;
  }
}

function passes(element, query) {
  if (query.role && element.role !== query.role) return false;
  if (query.label && !(element.label || "").includes(query.label)) return false;
  return !query.identifier || (element.identifier || "").includes(query.identifier);
}

/// A line for an element.
export function describe({role, label, identifier, value}) {
  const name = label || identifier;
  return [role, name && JSON.stringify(name), value && `= ${JSON.stringify(value.slice(0, 80))}`]
    .filter(Boolean).join(" ");
}

function sameFrame(a, b) {
  if (!a || !b) return !a === !b;
  return a.x === b.x && a.y === b.y && a.width === b.width && a.height === b.height;
}

function differences(before, after) {
  const parts = [];
  for (const name of ["label", "value"]) {
    if ((before[name] || "") !== (after[name] || "")) {
      parts.push(`${name} was ${JSON.stringify((before[name] || "").slice(0, 80))}`);
    }
  }
  if (before.enabled !== after.enabled) parts.push(after.enabled ? "was disabled" : "was enabled");
  if (after.focused && !before.focused) parts.push("got the focus");
  return parts;
}

/// How a tree differs from what it was, as lines.
export function compare(before, after) {
  const lines = [];
  let moved = 0;
  const gone = new Set(before.items.filter((item) => !after.byId.has(item.element.id)));
  const added = [];
  for (const item of after.items) {
    let was = before.byId.get(item.element.id);
    if (!was) {
      // A label is part of the id: what changed it is another one in the same place.
      const there = before.byPath.get(item.path);
      if (there && gone.has(there) && there.element.role === item.element.role) {
        was = there;
        gone.delete(there);
      }
    }
    if (!was) {
      added.push(item);
      continue;
    }
    const parts = differences(was.element, item.element);
    if (parts.length > 0) lines.push(`changed ${describe(item.element)} (${parts.join(", ")})`);
    if (!sameFrame(was.element.frame, item.element.frame)) ++moved;
  }
  const keyOf = ({element}) => JSON.stringify([element.role, element.identifier, element.label]);
  const byKey = new Map();
  for (const item of gone) byKey.set(keyOf(item), item);
  let renumbered = 0;
  for (const item of added) {
    const was = byKey.get(keyOf(item));
    if (was && gone.delete(was)) {
      ++renumbered;
    } else {
      lines.push(`new ${describe(item.element)}`);
    }
  }
  for (const item of gone) lines.push(`gone ${describe(item.element)}`);
  if (moved) lines.push(`${moved} moved`);
  if (renumbered) lines.push(`${renumbered} have another id`);
  return lines;
}
