#!/usr/bin/env python3
"""Folders of src/ stand on floors: a file includes only from its own floor or below, and folders never form a circle."""
import pathlib
import re
import sys

from floors import FLOORS


def includes(src):
    """Yields (file, folder of the file, folder of the included file) for every include of one folder by another."""
    for path in sorted(src.rglob("*")):
        if path.suffix not in (".h", ".cpp", ".def"):
            continue
        folder = path.relative_to(src).parts[0]
        for target in re.findall(r'^#include "([a-z0-9_]+)/', path.read_text(), re.M):
            if target != folder:
                yield path, folder, target


def find_circle(edges):
    """Depth-first search; returns the folders of a circle, or None."""
    state = {}

    def visit(folder, trail):
        state[folder] = "open"
        for target in sorted(edges.get(folder, ())):
            if state.get(target) == "open":
                return trail + [folder, target]
            if target not in state:
                circle = visit(target, trail + [folder])
                if circle:
                    return circle
        state[folder] = "done"
        return None

    for folder in sorted(edges):
        if folder not in state:
            circle = visit(folder, [])
            if circle:
                return circle
    return None


def main():
    src = pathlib.Path(sys.argv[1]) / "src"
    faults = []
    edges = {}
    for path, folder, target in includes(src):
        edges.setdefault(folder, set()).add(target)
        if folder not in FLOORS or target not in FLOORS:
            faults.append(f"{path}: folder {folder} or {target} has no floor")
        elif FLOORS[target] > FLOORS[folder]:
            faults.append(f"{path}: {folder} (floor {FLOORS[folder]}) includes {target} (floor {FLOORS[target]})")
    circle = find_circle(edges)
    if circle:
        faults.append("folders form a circle: " + " -> ".join(circle))
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
