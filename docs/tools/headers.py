"""Reads the public headers: their declarations and comments."""
import re
from pathlib import Path

COMMENT = re.compile(r"/\*\*(?P<behind><)?(?P<text>.*?)\*/", re.S)
SKIPPED = re.compile(r"^(?:#(?:if|ifdef|ifndef|else|endif|include|error|define NUV_\w+_H\b)[^\n]*|extern \"C\" \{|\})\n?", re.M)
BODY = re.compile(r"\s*\{.*\}$", re.S)
ATTRIBUTE = re.compile(r"\bNUV_(?:API|COLD|INLINE)\b|\bNUV_(?:PRINTF|SCANF)\([^)]*\)")


class Declaration:
    """One declaration, or the definition of a macro or an inline function."""

    def __init__(self, code):
        self.code = code

    @property
    def is_macro(self):
        return self.code.startswith("#define")

    @property
    def is_inline(self):
        return self.code.startswith("NUV_INLINE")

    @property
    def is_function(self):
        return self.is_inline or bool(re.search(r"\bNUV_API\b", self.code)) and "(" in ATTRIBUTE.sub("", self.code)

    @property
    def is_variable(self):
        return bool(re.search(r"\bNUV_API\b", self.code)) and not self.is_function

    @property
    def is_exported(self):
        return self.is_function or self.is_variable

    @property
    def declaration(self):
        """The code on one line, without attributes and body."""
        code = BODY.sub(";", self.code) if self.is_inline else self.code
        return re.sub(r"\s+", " ", ATTRIBUTE.sub("", code)).replace(" ;", ";").strip()

    @property
    def name(self):
        if self.is_macro:
            return re.match(r"#define (\w+)", self.code).group(1)
        before = self.declaration.split("(")[0] if self.is_function else self.declaration.split("[")[0]
        return re.findall(r"\w+", before)[-1]


class Item:
    """A comment and the declarations after it: none for a separate comment, several for a block."""

    def __init__(self, text, pieces):
        self.text = text
        self.declarations = [Declaration(piece) for piece in pieces]
        self.code = "\n".join(pieces)

    @property
    def exported(self):
        return [each for each in self.declarations if each.is_exported]


def plain(comment):
    """The lines of a comment without its stars."""
    lines = [re.sub(r"^ \* ?", "", line).rstrip() for line in comment.strip("\n").split("\n")]
    lines[0] = lines[0].strip()
    return "\n".join(lines).strip("\n ")


def end_of_code(text, start):
    """The end of the declaration that begins at start: after its semicolon, its body or the last line of its macro."""
    if text.startswith("#define", start):
        end = text.index("\n", start)
        while text[end - 1] == "\\":
            end = text.index("\n", end + 1)
        return end
    if text.startswith("NUV_INLINE", start):
        return text.index("\n}\n", start) + 2
    depth, i = 0, start
    while not (text[i] == ";" and depth == 0):
        if text.startswith("/*", i):
            i = text.index("*/", i) + 1
        depth += {"{": 1, "(": 1, "}": -1, ")": -1}.get(text[i], 0)
        i += 1
    return i + 1


def items(path):
    """The items of the header in order; the first one is its opening comment."""
    text = Path(path).read_text(encoding="utf-8")
    found, position = [], 0
    while True:
        comment = COMMENT.search(text, position)
        if not comment:
            return found
        start = position = comment.end()
        while True:
            rest = re.match(r"\s*", text[start:]).end()
            skipped = SKIPPED.match(text, start + rest)
            start += rest
            if not skipped or not found:
                break
            start = skipped.end()
        pieces = []
        if found and start < len(text) and not text.startswith("/*", start):
            # Lines without a comment belong to the block of the declaration before them.
            end = end_of_code(text, start)
            pieces = [text[start:end]]
            while text.startswith("\n", end) and re.match(r"\n(?!\n|/\*|#else|#endif|#ifdef|\}|$)", text[end : end + 10]):
                start = end + 1
                end = end_of_code(text, start)
                pieces.append(text[start:end])
            behind = re.match(r" */\*\*<.*?\*/", text[end:], re.S)
            position = end + (behind.end() if behind else 0)
            pieces[-1] += text[end:position]
        if not (comment.group("behind") and not pieces):
            found.append(Item(plain(comment.group("text")), pieces))


def exported_names(folder):
    """The exported names in the headers of a folder, by family."""
    return {path.stem: [each.name for item in items(path) for each in item.exported]
            for path in sorted(Path(folder).glob("nuv_*.h"))}
