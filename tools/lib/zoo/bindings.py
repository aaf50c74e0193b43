"""Reading applications through the usual Python bindings of AT-SPI, and holding the agent's trees against that."""

import difflib
import time

MAX_CHILDREN = 1000
MAX_DEPTH = 1024
TEXT_ROLES = ("TEXT", "ENTRY", "LABEL", "STATIC", "PARAGRAPH", "TERMINAL", "HEADING", "STATUS_BAR", "CAPTION",
              "EDITBAR", "DATE_EDITOR", "ACCELERATOR_LABEL", "AUTOCOMPLETE", "TIMER")


class Record:
    """What the bindings say of an element. `accessible` is the bindings' own object, for further questions."""

    def __init__(self, accessible):
        self.accessible, self.children = accessible, []
        self.name, self.role, self.identifier, self.value, self.frame = "", None, "", None, None
        self.enabled = self.focused = self.is_page = False

    def __iter__(self):
        """The element and all below it, parents first."""
        waiting = [self]
        while waiting:
            record = waiting.pop()
            yield record
            waiting.extend(reversed(record.children))

    def find(self, **fields):
        """The first element with these fields, or None."""
        return next((each for each in self if all(getattr(each, key) == value for key, value in fields.items())), None)


class Bindings:
    """A walk as a script that needs these fields would do it. Used from one thread. The environment must name the
    desktop before the first one is made: importing the bindings connects to its accessibility bus."""

    def __init__(self):
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi, GLib
        Atspi.set_timeout(15000, 15000)  # a busy application takes longer than the usual 800 ms
        self._api, self._error = Atspi, GLib.Error
        self._text_roles = {getattr(Atspi.Role, name) for name in TEXT_ROLES if hasattr(Atspi.Role, name)}

    def application(self, pid):
        """The accessible root of a process, or None."""
        desktop = self._api.get_desktop(0)
        for index in range(desktop.get_child_count()):
            try:
                found = desktop.get_child_at_index(index)
                if found and found.get_process_id() == pid:
                    return found
            except self._error:
                continue  # one that is just ending
        return None

    def walk(self, pid):
        """Reads everything anew: (the root's record or None, seconds)."""
        began = time.monotonic()
        application = self.application(pid)
        if application is None:
            return None, time.monotonic() - began
        application.clear_cache()
        is_gtk4 = self._or("", application.get_toolkit_version).startswith("4.")
        root = Record(application)
        waiting = [(root, 1, ())]
        while waiting:
            record, depth, ancestors = waiting.pop()
            self._read(record)
            # GTK 4 gives the pages of its stacks and notebooks, which have no place, when it is asked for each child,
            # and leaves them out when it is asked for all.
            record.is_page = is_gtk4 and record.role == self._api.Role.PANEL and record.frame is None
            if depth >= MAX_DEPTH:
                continue
            above = ancestors + (record.accessible,)
            for child in self._children(record.accessible):
                if child not in above:  # an element that is its own ancestor has no end
                    record.children.append(Record(child))
            waiting.extend((child, depth + 1, above) for child in reversed(record.children))
        return root, time.monotonic() - began

    def _children(self, accessible):
        try:
            count = min(accessible.get_child_count(), MAX_CHILDREN)
        except self._error:
            return
        for index in range(count):
            try:
                child = accessible.get_child_at_index(index)
            except self._error:
                continue
            if child:
                yield child

    def _read(self, record):
        accessible, api = record.accessible, self._api
        record.role = self._or(None, accessible.get_role)
        record.name = self._or("", accessible.get_name) or ""
        record.identifier = self._or("", accessible.get_accessible_id) or ""
        states = accessible.get_state_set()
        record.enabled = states.contains(api.StateType.ENABLED) or states.contains(api.StateType.SENSITIVE)
        record.focused = states.contains(api.StateType.FOCUSED)
        interfaces = self._or((), accessible.get_interfaces)
        if record.role in self._text_roles and "Text" in interfaces:
            record.value = self.text(accessible)
        if "Component" in interfaces:
            extents = self._or(None, lambda: accessible.get_extents(api.CoordType.SCREEN))
            if extents:
                record.frame = (extents.x, extents.y, extents.width, extents.height)

    def text(self, accessible):
        """The text of an element, or None when it has none."""
        # GTK 4 does not understand -1 as the end.
        return self._or(None, lambda: self._api.Text.get_text(accessible, 0,
                                                              self._api.Text.get_character_count(accessible)))

    def _or(self, otherwise, ask):
        try:
            return ask()
        except self._error:
            return otherwise

    def caret(self, record):
        """Where the caret is in a text, in characters from its start."""
        return self._or(-1, lambda: self._api.Text.get_caret_offset(record.accessible))

    def selected(self, record):
        """How many children of a table or list are selected."""
        return self._or(0, lambda: self._api.Selection.get_n_selected_children(record.accessible)) if record else 0

    def has_state(self, record, name):
        return record.accessible.get_state_set().contains(getattr(self._api.StateType, name))


class Comparison:
    """What differs between the agent's tree and the bindings' walk. `missing` and `extra` count elements, `differing`
    those with another name, text or state; `examples` shows some of each."""

    def __init__(self, tree, record, bindings):
        self.missing = self.extra = self.compared = 0
        self.differing = {"label": 0, "value": 0, "enabled": 0, "focused": 0}
        self.examples = []
        self._bindings = bindings
        self._compare(tree, record)

    @property
    def count(self):
        return self.missing + self.extra + sum(self.differing.values())

    @property
    def same(self):
        return self.count == 0

    def __str__(self):
        parts = [f"{self.missing} missing"] * bool(self.missing) + [f"{self.extra} too many"] * bool(self.extra)
        return ", ".join(parts + [f"{count} with another {what}" for what, count in self.differing.items() if count])

    def _note(self, text):
        if len(self.examples) < 12:
            self.examples.append(text)

    def _compare(self, tree, record):
        waiting = [(tree, record, "")]
        while waiting:
            element, other, above = waiting.pop()
            path = f"{above}/{element['role']} {element.get('label', '')[:30]!r}"
            self._compare_fields(element, other, path)
            elements, others = element.get("children", []), _without_pages(other.children)
            for pair in self._pairs(elements, others):
                if pair[0] is None:
                    self.missing += sum(1 for _ in pair[1])
                    self._note(f"missing in {path}: {pair[1].role.value_nick} {pair[1].name[:40]!r}")
                elif pair[1] is None:
                    self.extra += _size(pair[0])
                    self._note(f"too many in {path}: {pair[0]['role']} {pair[0].get('label', '')[:40]!r}")
                else:
                    waiting.append((*pair, path))

    @staticmethod
    def _pairs(elements, others):
        """Children that belong together, in order; None stands for what the other side does not have."""
        names, other_names = [e.get("label", "") for e in elements], [o.name for o in others]
        if len(elements) == len(others):
            yield from zip(elements, others)
            return
        for kind, a, b, c, d in difflib.SequenceMatcher(None, names, other_names, autojunk=False).get_opcodes():
            if kind == "equal":
                yield from zip(elements[a:b], others[c:d])
            else:
                yield from ((element, None) for element in elements[a:b])
                yield from ((None, other) for other in others[c:d])

    def _compare_fields(self, element, other, path):
        self.compared += 1
        value = element.get("value")
        expected = other.value
        if value and expected is None:
            expected = self._bindings.text(other.accessible)  # a role whose text the walk did not ask for
        for field, ours, theirs in (("label", element.get("label", ""), other.name),
                                    ("value", value or "", expected or ""),
                                    ("enabled", element.get("enabled"), other.enabled),
                                    ("focused", element.get("focused"), other.focused)):
            if ours != theirs:
                self.differing[field] += 1
                self._note(f"{field} of {path}: {str(ours)[:60]!r}, by the bindings {str(theirs)[:60]!r}")


def _without_pages(records):
    """The records with the children of pages, which not every way to ask gives, in the place of these."""
    return [child for each in records for child in (each.children if each.is_page else [each])]


def _size(tree):
    count, waiting = 0, [tree]
    while waiting:
        element = waiting.pop()
        count += 1
        waiting.extend(element.get("children", []))
    return count


def compare(agent, bindings, pid, attempts=4):
    """Holds a fresh tree of the agent against a walk just before and one just after it; a program that changes in
    between is looked at again. Gives (comparison or None, facts); facts: elements and seconds of both."""
    comparison, facts, until = None, {}, time.monotonic() + 60
    for attempt in range(attempts):
        if attempt and time.monotonic() > until:
            break
        before, _ = bindings.walk(pid)
        time.sleep(1.1)  # the agent must not answer from its cache
        answer = agent.tree(pid, timeout=60)
        if answer.status != 200:
            raise RuntimeError(f"/ax/tree answers {answer.status} {answer.body[:200]!r}")
        tree = answer.json()["tree"]
        record, seconds = bindings.walk(pid)
        facts = {"elements": _size(tree), "seconds": answer.seconds, "bindings_seconds": seconds,
                 "bindings_elements": sum(1 for _ in record) if record else 0}
        if record is None:
            return None, facts
        for each in (record, before):
            if each is not None:
                comparison = Comparison(tree, each, bindings)
                if comparison.same:
                    return comparison, facts
    return comparison, facts
