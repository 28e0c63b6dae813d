"""Reads the includes of the library, and the code map of README.md that they must respect.

A part is one row of that map: a family, or several that belong together. A part owns the files that are named after its
families. Other headers of a source folder belong to no part: the parts that they include count as used by their includers.
"""
import re
from dataclasses import dataclass
from pathlib import Path

ROW = re.compile(r"^\|(?: `(\w+)` | )\| ((?:`nuv_\w+`(?:, )?)+) \| .*? \|(?: (.*?) | )\|$", re.M)
EXCEPTION = re.compile(r"^- `(nuv_\w+)` uses `(nuv_\w+)`: ", re.M)
INCLUDE = re.compile(r'^#include "([^"]+)"', re.M)
NO_FAMILY = {"OpenSSL"}
# The export macro, which any file may include.
FOR_ALL = "nuv_api.h"


@dataclass(frozen=True)
class Part:
    folder: str
    families: tuple

    @property
    def name(self):
        return ", ".join(family.removeprefix("nuv_") for family in self.families)


class CodeMap:
    """The table of README.md, and the exceptions in docs/architecture.md."""

    def __init__(self, root):
        self.folders, self.parts, self.uses = [], [], {}
        named = []
        for folder, families, uses in ROW.findall((root / "README.md").read_text(encoding="utf-8")):
            if folder:
                self.folders.append(folder)  # lowest first
            part = Part(self.folders[-1], tuple(re.findall(r"`(\w+)`", families)))
            self.parts.append(part)
            named.append([use for use in uses.split(", ") if use and use not in NO_FAMILY])
        if not self.parts:
            raise SystemExit("%s: has no code map" % (root / "README.md"))
        for part, uses in zip(self.parts, named):
            self.uses[part] = {self.part_of("nuv_" + use) or use for use in uses}
        self.named_exceptions = EXCEPTION.findall((root / "docs/architecture.md").read_text(encoding="utf-8"))
        self.exceptions = [(self.part_of(user), self.part_of(used)) for user, used in self.named_exceptions]

    def part_of(self, stem):
        """The part that a file of this name belongs to, or None. The longest matching family wins."""
        named = [(len(family), part) for part in self.parts for family in part.families
                 if (stem + "_").startswith(family + "_")]
        return max(named, key=lambda entry: entry[0])[1] if named else None

    def level(self, folder):
        return self.folders.index(folder)


@dataclass(frozen=True)
class Include:
    """An include between two files of the library."""

    path: Path
    text: str
    target: Path


class Tree:
    """The files of the library and the includes between them."""

    def __init__(self, root):
        self.root = root
        self.places = [root / "userlib/include", root / "userlib/source"]
        self.sources = sorted(self.places[1].glob("*/*.*"))
        self.files = sorted(self.places[0].glob("nuv_*.h")) + self.sources
        self.includes, self.unknown = [], []
        for path in self.files:
            for text in INCLUDE.findall(path.read_text(encoding="utf-8")):
                self.read_include(path, text)

    def read_include(self, path, text):
        target = next((place / text for place in self.places if (place / text).is_file()), None)
        if target is None or target.stem == "userlib":
            self.unknown.append((path, text))
        elif text != FOR_ALL:
            self.includes.append(Include(path, text, target))

    def name(self, path):
        return str(path.relative_to(self.root))

    def folder(self, path, code_map):
        """The folder of a private file; for a public header, that of its part."""
        part = code_map.part_of(path.stem)
        return path.parent.name if path.parent.parent == self.places[1] else part and part.folder

    def uses(self, code_map):
        """The arrows from part to part, each with the first include that causes it."""
        arrows = {}
        for path in self.files:
            part = code_map.part_of(path.stem)
            for used, include in self.reached(path, code_map, {path}) if part else ():
                if used != part:
                    arrows.setdefault((part, used), include)
        return arrows

    def reached(self, path, code_map, seen):
        """The parts that a file includes, also through headers that belong to no part."""
        for include in self.includes:
            if include.path != path or include.target in seen:
                continue
            part = code_map.part_of(include.target.stem)
            if part:
                yield part, include
            else:
                seen.add(include.target)
                yield from self.reached(include.target, code_map, seen)
