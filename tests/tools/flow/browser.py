#!/usr/bin/env python3
"""Opens a picture of userlib-flow in a real browser, at the width of a phone and of a screen, light and dark.

    browser.py CHROMIUM PICTURE

Nothing may overflow the picture or overlap, and all texts must be large enough and have enough contrast.
"""
import base64
import html
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from readable import CONTRAST, LEAST_CONTRAST, WIDTHS  # noqa: E402

SCHEMES = {"dark": 0, "light": 1}
LEAST_LETTER = 9.5  # pixels

# Measures the picture in a frame of each width, so that the picture's media queries see that width.
PAGE = """<!doctype html><meta charset="utf-8"><body style="margin:0">
<script>
const picture = new TextDecoder().decode(Uint8Array.from(atob("%s"), c => c.charCodeAt(0)));
function colour(text) { return text.match(/[0-9.]+/g).slice(0, 3).map(Number); }
%s
function measure(frame) {
  const doc = frame.contentDocument, view = frame.contentWindow;
  const page = colour(view.getComputedStyle(doc.querySelector(".page")).fill);
  const texts = [...doc.querySelectorAll("text")].filter(t => view.getComputedStyle(t).display !== "none");
  return {
    scrolls: doc.documentElement.scrollWidth - frame.clientWidth,
    page: page,
    texts: texts.map(t => {
      const box = t.getBoundingClientRect(), style = view.getComputedStyle(t);
      return {text: t.textContent, kind: t.getAttribute("class"), left: box.left, right: box.right, top: box.top,
              bottom: box.bottom, letter: parseFloat(style.fontSize), contrast: contrast(colour(style.fill), page)};
    }),
    lines: [...doc.querySelectorAll("line.way")].map(l => l.getBoundingClientRect()).map(b => [b.left, b.right])
  };
}
const result = {};
for (const width of %s) {
  const frame = document.createElement("iframe");
  frame.width = width; frame.height = 1000; frame.style.border = 0; frame.scrolling = "no";
  document.body.append(frame);
  frame.contentDocument.open();
  frame.contentDocument.write("<!doctype html><body style='margin:0'>" + picture);
  frame.contentDocument.close();
  result[width] = measure(frame);
  frame.remove();
}
const out = document.createElement("pre");
out.textContent = "MEASURED" + JSON.stringify(result) + "END";
document.body.append(out);
</script>
"""


def measure(chromium, picture, scheme):
    page = PAGE % (base64.b64encode(picture.read_bytes()).decode(), CONTRAST, list(WIDTHS))
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "page.html"
        path.write_text(page, encoding="utf-8")
        dom = subprocess.run(
            [chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             f"--user-data-dir={folder}/profile", f"--blink-settings=preferredColorScheme={SCHEMES[scheme]}",
             "--virtual-time-budget=5000", "--dump-dom", path.as_uri()],
            check=True, capture_output=True, encoding="utf-8", timeout=150).stdout
    return json.loads(html.unescape(re.search(r"<pre>MEASURED(.*?)END</pre>", dom, re.S).group(1)))


def overlap(a, b):
    return a["left"] < b["right"] and b["left"] < a["right"] and a["top"] < b["bottom"] - 1 and b["top"] < a["bottom"] - 1


def problems(measured, width, scheme):
    where = f"{width} pixels, {scheme}: "
    if measured["scrolls"] > 0:
        yield f"{where}the picture is {measured['scrolls']} pixels too wide"
    if not measured["texts"] or not measured["lines"]:
        yield f"{where}the picture is empty"
    if (sum(measured["page"]) < 3 * 128) != (scheme == "dark"):
        yield f"{where}the page has the wrong colour {measured['page']}"
    for text in measured["texts"]:
        name = f"{where}'{text['text']}' ({text['kind']})"
        if text["left"] < 0 or text["right"] > width:
            yield f"{name} reaches from {text['left']:.0f} to {text['right']:.0f}"
        if text["letter"] < LEAST_LETTER:
            yield f"{name} has letters of {text['letter']} pixels"
        if text["contrast"] < LEAST_CONTRAST:
            yield f"{name} has a contrast of {text['contrast']:.2f}"
    for i, text in enumerate(measured["texts"]):
        for other in measured["texts"][i + 1:]:
            if overlap(text, other):
                yield f"{where}'{text['text']}' and '{other['text']}' overlap"
    for left, right in measured["lines"]:
        if left < 0 or right > width:
            yield f"{where}an arrow reaches from {left:.0f} to {right:.0f}"


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    chromium, picture = sys.argv[1], Path(sys.argv[2])
    found = []
    for scheme in SCHEMES:
        measured = measure(chromium, picture, scheme)
        for width in WIDTHS:
            found += problems(measured[str(width)], width, scheme)
            print(f"{width} pixels, {scheme}: {len(measured[str(width)]['texts'])} texts")
    print("\n".join(found))
    sys.exit(bool(found))


main()
