"""The contracts of the library, read from its sources: what each check reports, under which family, as which class."""
import re
from pathlib import Path

CLASSES = {
    "NUV_REQUIRE": "require failed",
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


def without_comments(source):
    return COMMENT.sub(lambda match: match.group() if match.group().startswith('"') else " ", source)


def arguments(source, start):
    """The arguments of the macro whose opening bracket ends at start, split at the commas that separate them."""
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
    """What the preprocessor makes of an expression: each run of blanks and line ends is one blank."""
    return re.sub(r"\s+", " ", expression).strip()


def texts(macro, source, start):
    """The texts that a check can report. One that is no literal names a member, whose values are looked up."""
    parts = arguments(source, start)
    if not macro.endswith("_TEXT"):
        return [as_text(",".join(parts))]
    literals = LITERAL.findall(parts[-1])
    if literals:
        return ["".join(literals)]
    member = parts[-1].strip().split(".")[-1]
    record = re.search(r"struct (\w+) \{[^}]*\b%s;" % re.escape(member), source)
    if not record:
        raise SystemExit("contracts: cannot tell what '%s' is" % parts[-1].strip())
    return re.findall(r'constexpr %s \w+ = \{[^"]*"([^"]*)"\};' % record.group(1), source)


def contracts(source_folder):
    """Maps each name under which contracts are reported to its set of (class, text)."""
    found = {}
    for path in sorted(Path(source_folder).glob("*/nuv_*.cpp")):
        source = without_comments(path.read_text())
        family = FAMILY.search(source)
        for check in CHECK.finditer(source):
            if not family:
                raise SystemExit("contracts: %s has a check but no kFamily" % path.name)
            for text in texts(check.group(1), source, check.end()):
                found.setdefault(family.group(1), set()).add((CLASSES[check.group(1)], text))
    return found
