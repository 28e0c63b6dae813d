"""Reads Markdown as the pages of this project use it: headings with the anchors of forges, and links, but not in code."""
import re
from pathlib import Path

FENCE = re.compile(r"^ {0,3}(```+|~~~+)(?:.*)$")
HEADING = re.compile(r"^(#{1,6}) +(.*?)(?: +#+)?$")
CODE_SPAN = re.compile(r"(?<!`)(`+)(?!`)(.+?)(?<!`)\1(?!`)", re.S)
# [text](target) and ![text](target), perhaps with a title; the text may contain code and a picture.
LINK = re.compile(r'(!?)\[((?:!\[[^\]]*\]\([^)]*\)|[^\[\]])*)\]\(\s*<?([^)\s>]*)>?(?:\s+"[^"]*")?\s*\)')
HTML_LINK = re.compile(r'<(?:a|img|object|source)\b[^>]*?\b(?:href|src|srcset|data)="([^"]*)"', re.S)
HTML_ANCHOR = re.compile(r'\b(?:id|name)="([^"]*)"')


def pieces(text):
    """Splits a page into runs of lines (is_code, lines): fenced and indented blocks are code."""
    found, fence, previous_blank = [], None, True

    def add(is_code, line):
        if not found or found[-1][0] != is_code:
            found.append((is_code, []))
        found[-1][1].append(line)

    in_list = False
    for line in text.split("\n"):
        mark = FENCE.match(line)
        if fence:
            add(True, line)
            if mark and mark.group(1).startswith(fence) and not line.strip().strip(fence[0]):
                fence = None
        elif mark:
            fence = mark.group(1)
            add(True, line)
        else:
            if re.match(r" {0,3}(?:[-*+]|\d+\.) ", line):
                in_list = True
            elif line.strip() and not line.startswith(" "):
                in_list = False
            is_indented = line.startswith("    ") and not in_list
            add(is_indented and (previous_blank or found[-1][0]), line)
        previous_blank = not line.strip()
    return found


def slug(heading):
    """The anchor that GitHub, GitLab and Gitea give to a heading."""
    text = LINK.sub(lambda match: match.group(2), heading)
    text = CODE_SPAN.sub(lambda match: match.group(2), text)
    return re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")


def headings(text):
    """The headings of a page with level, text and anchor; repeated ones get a number."""
    seen = {}
    for is_code, lines in pieces(text):
        for line in [] if is_code else lines:
            match = HEADING.match(line)
            if match:
                anchor = slug(match.group(2))
                number = seen.get(anchor, 0)
                seen[anchor] = number + 1
                yield len(match.group(1)), match.group(2), anchor + ("-%d" % number if number else "")


def without_blocks(text):
    """The page with empty lines in place of its code blocks."""
    return "\n".join("\n".join("" for _ in lines) if is_code else "\n".join(lines) for is_code, lines in pieces(text))


def prose(text):
    """The page without its code blocks and spans."""
    return CODE_SPAN.sub(lambda match: "`" + "\n" * match.group().count("\n") + "`", without_blocks(text))


def code_spans(text):
    """The texts between backquotes, with their lines."""
    kept = without_blocks(text)
    for match in CODE_SPAN.finditer(kept):
        yield kept.count("\n", 0, match.start()) + 1, match.group(2)


def anchors(text):
    return {anchor for _, _, anchor in headings(text)} | set(HTML_ANCHOR.findall(prose(text)))


def links(text):
    """The targets of all links and pictures, with their lines."""
    plain = prose(text)
    for match in LINK.finditer(plain):
        yield plain.count("\n", 0, match.start()) + 1, match.group(3)
        for inner in LINK.finditer(match.group(2)):
            yield plain.count("\n", 0, match.start()) + 1, inner.group(3)
    for match in HTML_LINK.finditer(plain):
        yield plain.count("\n", 0, match.start()) + 1, match.group(1)


def first_heading(path):
    for _, title, _ in headings(Path(path).read_text(encoding="utf-8")):
        return title
    raise SystemExit("%s: has no heading" % path)
