"""Reads the contracts of the library from its sources: the text, family and class of each check, and the functions that
run it."""
import re
from pathlib import Path

import headers

CLASSES = {
    "NUV_REQUIRE": "require failed",
    "NUV_REQUIRE_OBJECT": "require failed",
    "NUV_REQUIRE_TEXT": "require failed",
    "NUV_ENSURE": "ensure failed",
    "NUV_ENSURE_TEXT": "ensure failed",
    "NUV_CHECK": "check failed",
    "NUV_NOT_NULL": "null pointer",
    "NUV_RESOURCE": "resource error",
}
CHECK = re.compile(r"\b(" + "|".join(sorted(CLASSES, key=len, reverse=True)) + r")\(")
FAMILY = re.compile(r'constexpr char kFamily\[\] = "(\w+)";')
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
COMMENT = re.compile(r'"(?:[^"\\\n]|\\.)*"|//[^\n]*|/\*.*?\*/', re.S)
# Functions and records begin at the left margin, and so do their closing brackets.
DEFINITION = re.compile(r"^(?![}#\s])[^;{}]*\{\n.*?^\};?$", re.M | re.S)
RECORD = re.compile(r"^(?:template <[^>]*>\s*)?(?:class|struct) (\w+)")
NOT_A_BODY = re.compile(r'^(?:namespace|extern|enum)\b|^[^({]*= *\{')


def without_comments(source):
    return COMMENT.sub(lambda match: match.group() if match.group().startswith('"') else " ", source)


def arguments(source, start):
    """The arguments of the macro whose opening bracket ends at start."""
    depth, begin, parts, i = 1, start, [], start
    while depth > 0:
        character = source[i]
        if character in "\"'":
            i += 1
            while source[i] != character:
                i += 2 if source[i] == "\\" else 1
        elif character in "([{":
            depth += 1
        elif character in ")]}":
            depth -= 1
        elif character == "," and depth == 1:
            parts.append(source[begin:i])
            begin = i + 1
        i += 1
    parts.append(source[begin : i - 1])
    return parts


def as_text(expression):
    """The expression as the preprocessor stringifies it: white space becomes one blank."""
    return re.sub(r"\s+", " ", expression).strip()


def texts(macro, source, start):
    """Pairs of a text that a check can report, and the object that holds it, or None for a literal. Other texts name a
    member, whose values are looked up."""
    parts = arguments(source, start)
    if not macro.endswith("_TEXT"):
        return [(as_text(",".join(parts)), None)]
    literals = LITERAL.findall(parts[-1])
    if literals:
        return [("".join(literals), None)]
    member = parts[-1].strip().split(".")[-1]
    record = re.search(r"struct (\w+) \{[^}]*\b%s;" % re.escape(member), source)
    if not record:
        raise SystemExit("contracts: '%s': must be a literal or a member of a record in the same file" % parts[-1].strip())
    objects = re.findall(r'constexpr %s (\w+) = \{[^"]*"([^"]*)"\};' % record.group(1), source)
    return [(text, name) for name, text in objects]


def definitions(source):
    """Triples of a function's name, and the begin and end of its definition; a record counts as one function."""
    # Blank out the brackets of namespaces, which would hide their content.
    source = re.sub(r"^(?:namespace[^{;\n]*|extern \"C\" )\{", lambda match: ";" + " " * (len(match.group()) - 1), source,
                    flags=re.M)
    for match in DEFINITION.finditer(source):
        text = match.group()
        if NOT_A_BODY.match(text):
            continue
        record = RECORD.match(text)
        head = re.sub(r"\[\[.*?\]\]", "", text[: text.index("{")], flags=re.S)
        name = record or re.search(r"(\w+)\s*\(", head)
        if name:
            yield name.group(1), match.start(), match.end()


class Sources:
    """Every source of the library, and the calls between functions."""

    def __init__(self, folder):
        paths = [path for path in sorted(Path(folder).glob("*/*")) if path.name != "contract.h"]
        self.texts = {path: without_comments(path.read_text(encoding="utf-8")) for path in paths}
        self.functions = {path: list(definitions(text)) for path, text in self.texts.items()}
        self.exported = {name for names in headers.exported_names(Path(folder).parent / "include").values()
                         for name in names}

    def around(self, path, position):
        for name, start, end in self.functions[path]:
            if start <= position < end:
                return name
        raise SystemExit("contracts: %s: has a check outside a function" % path.name)

    def callers(self, path, name):
        """The functions that name a helper: in its own file, or in any if a private header declares it. What a header calls
        may have the same name, such as write()."""
        word = re.compile(r"\b%s\b" % re.escape(name))
        declared = re.compile(r"^(?![}#\s]).*\b%s\(" % re.escape(name), re.M)
        is_shared = any(declared.search(text) or any(name == defined for defined, _, _ in self.functions[other])
                        for other, text in self.texts.items() if other.suffix == ".h")
        for other in self.texts if is_shared else [path]:
            for caller, start, end in self.functions[other]:
                if caller != name and word.search(self.texts[other][start:end]):
                    yield other, caller, self.texts[other][start:end]

    def checking(self, path, name, holder=None, seen=()):
        """The exported functions that run a check, directly or through helpers. If its text comes from an object, only those
        whose calls name that object."""
        if name in self.exported:
            return set() if holder else {name}
        result = set()
        for other, caller, body in self.callers(path, name):
            if (other, caller) not in seen:
                is_named = not holder or re.search(r"\b%s\b" % holder, body)
                result |= self.checking(other, caller, None if is_named else holder, seen + ((other, caller),))
        return result


def contracts(source_folder):
    """Maps each reported name to its contracts in the order of the sources: each pair of class and text to the set of
    exported functions that check it."""
    sources, found = Sources(source_folder), {}
    for path, text in sources.texts.items():
        family = FAMILY.search(text)
        for check in CHECK.finditer(text):
            if not family:
                raise SystemExit("contracts: %s: has a check but no kFamily" % path.name)
            function = sources.around(path, check.start())
            for report, holder in texts(check.group(1), text, check.end()):
                rows = found.setdefault(family.group(1), {})
                row = (CLASSES[check.group(1)], report)
                rows.setdefault(row, set()).update(sources.checking(path, function, holder))
    unreached = ["%s: %s: %s" % ((name,) + row) for name, rows in found.items() for row, where in rows.items() if not where]
    if unreached:
        raise SystemExit("contracts: no exported function reaches " + ", ".join(unreached))
    return found


def reporters(source_folder):
    """Maps each reported name to the exported functions of its source files."""
    sources, found = Sources(source_folder), {}
    for path, text in sources.texts.items():
        family = FAMILY.search(text)
        if family:
            names = {name for name, _, _ in sources.functions[path]} & sources.exported
            found.setdefault(family.group(1), set()).update(names)
    return found
