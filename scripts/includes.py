#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""includes.py: fails on an include circle within a room, and on an include that goes against the
arrows of docs/architecture.md. A header and the source file of the same name count as one."""

import pathlib
import re
import sys

# What each room may include besides itself.
ARROWS = {
    "state": set(),
    "vault": set(),
    "controller": {"state", "vault"},
    "qt": {"controller", "state"},
    "app": {"state", "vault", "controller", "qt"},
    "devserver": set(),
}


def units(root):
    """Each unit with the units that it includes, by their paths without the ending."""
    found = {}
    for room in ARROWS:
        for path in sorted((root / room).rglob("*")):
            if path.suffix not in (".cpp", ".h"):
                continue
            unit = str(path.relative_to(root).with_suffix(""))
            included = re.findall(r'^#include "(.+)\.h"', path.read_text("utf-8"), re.MULTILINE)
            found.setdefault(unit, set()).update(set(included) - {unit})
    return found


def server_arrows(root):
    """What each folder of the development server may use: base, and what the last column of its table
    in docs/architecture.md leads to."""
    text = (root / "docs/architecture.md").read_text("utf-8").split("## The development server", 1)[1]
    named = {
        folder: set(re.findall(r"`(\w+)`", uses))
        for folder, uses in re.findall(r"^\| `(\w+)/` \|.*\| ([^|]*)\|$", text.split("\n## ", 1)[0], re.MULTILINE)
    }

    def reached(folder):
        return {"base"}.union(*({other} | reached(other) for other in named[folder]))

    return {folder: reached(folder) for folder in named}


def room_of(unit):
    return unit.split("/", 1)[0]


def server_faults(unit, other, allowed):
    """The program in the server's root may use every folder, no folder the program."""
    here, there = (name.split("/")[1] if name.count("/") > 1 else "" for name in (unit, other))
    if here in ("", there) or there in allowed.get(here, ()):
        return []
    return [f"{unit} includes {other}: {here} may not use {there or 'the program'}"]


def circles(graph):
    """One list of names for each circle that a walk from every name meets."""
    done, trail, result = set(), [], []

    def visit(name):
        if name in trail:
            result.append(trail[trail.index(name):] + [name])
        elif name not in done:
            trail.append(name)
            for following in sorted(graph.get(name, ())):
                visit(following)
            done.add(trail.pop())

    for name in sorted(graph):
        visit(name)
    return result


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    graph = units(root)
    allowed = server_arrows(root)
    faults = []
    for unit, included in graph.items():
        for other in included:
            here, there = room_of(unit), room_of(other)
            if there in ARROWS and here != there and there not in ARROWS[here]:
                faults.append(f"{unit} includes {other}: {here} may not use {there}")
            if here == there == "devserver":
                faults += server_faults(unit, other, allowed)
    faults += [" -> ".join(circle) for circle in circles(graph)]
    for fault in faults:
        print(f"includes: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
