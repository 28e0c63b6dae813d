#!/usr/bin/env python3
"""Checks the includes of the library against the layers: the code map of README.md, read from the bottom up.

    check_layers.py <source tree>

A file is in the folder of its part, and includes only files of its own folder or below. There are no circles within a
folder either. README.md says which parts use which others. docs/architecture.md names the exceptions.
"""
from pathlib import Path

import command
from includes import CodeMap, Tree


def misplaced(tree, code_map):
    for path in tree.sources:
        part = code_map.part_of(path.stem)
        if part and part.folder != path.parent.name:
            yield "%s: README.md lists its family under %s" % (tree.name(path), part.folder)
        if not part and (path.suffix == ".cpp" or path.parent.name not in code_map.folders):
            yield "%s: is in no row of the code map in README.md" % tree.name(path)
    for path, text in tree.unknown:
        yield '%s: includes "%s", which is not the header of a part' % (tree.name(path), text)


def upwards(tree, code_map):
    for include in tree.includes:
        user, used = (tree.folder(path, code_map) for path in (include.path, include.target))
        parts = tuple(code_map.part_of(path.stem) for path in (include.path, include.target))
        if not {user, used} <= set(code_map.folders) or parts in code_map.exceptions:
            continue
        if code_map.level(used) > code_map.level(user):
            yield '%s: includes "%s": up from %s to %s' % (tree.name(include.path), include.text, user, used)


def circles(arrows):
    """Removes parts that use no other until only those on a circle, or above one, are left."""
    left = {part: {used for user, used in arrows if user == part} for arrow in arrows for part in arrow}
    while free := [part for part in left if not left[part] & left.keys()]:
        for part in free:
            del left[part]
    if left:
        yield "a circle: " + "; ".join("%s uses %s" % (part.name, ", ".join(sorted(
            used.name for used in left[part] & left.keys()))) for part in left)


def differences(tree, code_map, arrows):
    for part in code_map.parts:
        used = {other for user, other in arrows if user == part}
        for other in sorted(used - code_map.uses[part], key=lambda other: other.name):
            include = arrows[part, other]
            yield "README.md: does not list that %s uses %s: %s includes \"%s\"" % (
                part.name, other.name, tree.name(include.path), include.text)
        for other in sorted(str(getattr(other, "name", other)) for other in code_map.uses[part] - used):
            yield "README.md: lists that %s uses %s, which it does not" % (part.name, other)
    for names, arrow in zip(code_map.named_exceptions, code_map.exceptions):
        if arrow not in arrows:
            yield "docs/architecture.md: unnecessary exception: %s uses %s" % names


def complaints(root):
    tree, code_map = Tree(root), CodeMap(root)
    arrows = tree.uses(code_map)
    if not arrows:
        yield "no includes found"
    yield from misplaced(tree, code_map)
    yield from upwards(tree, code_map)
    yield from circles([arrow for arrow in arrows if arrow not in code_map.exceptions])
    yield from differences(tree, code_map, arrows)


def main(root):
    found = list(complaints(Path(root)))
    print("\n".join(found) or "all includes respect the layers")
    return 1 if found else 0


command.run(main, __doc__)
