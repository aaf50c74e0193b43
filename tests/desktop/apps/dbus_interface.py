"""Descriptions of interfaces that programs of the tests have on a bus."""
import re

from gi.repository import Gio

TYPE = re.compile(r"a*(?:\([^)]*\)|\{[^}]*\}|[a-z])")


def interface(name, methods, properties=()):
    """An interface; `methods` maps each name to the types that it takes and gives, "sa{sv}>o", `properties` to a type."""
    def arguments(types, direction):
        return "".join(f'<arg type="{each}" direction="{direction}"/>' for each in TYPE.findall(types))

    def method(each, types):
        takes, _, gives = types.partition(">")
        return f'<method name="{each}">{arguments(takes, "in")}{arguments(gives, "out")}</method>'

    lines = [method(*each) for each in methods.items()]
    lines += [f'<property name="{each}" type="{kind}" access="read"/>' for each, kind in dict(properties).items()]
    xml = f'<node><interface name="{name}">{"".join(lines)}</interface></node>'
    return Gio.DBusNodeInfo.new_for_xml(xml).interfaces[0]
