#!/usr/bin/env python3
"""Opens every page of the reference in a real browser, at the width of a phone and of a screen, light and dark.

    browser_test.py CHROMIUM FOLDER [--screenshots FOLDER [PAGE...]]

No page is wider than the screen, a wide table or picture scrolls in its own box, with its headings, all texts have enough
contrast, the search finds the text of the pages, and the console logs no error.
"""
import sys
from pathlib import Path

from chromium import Chromium

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from readable import CONTRAST, LEAST_CONTRAST, WIDTHS  # noqa: E402

SCHEMES = ("light", "dark")
LEAST_LETTER = 12  # pixels
# Search words, and a link that must be among the first results.
SEARCHES = {
    "setTimeout": "NUV_Select_setTimeout()",
    "SIGTERM": "",
    "ttimeou": "NUV_Select_setTimeout()",
    "a full set of timers": "Removing from a full set of timers",
}

# Measures a page. "wrong" lists messages about what is wrong.
MEASURE = """(() => {
  const wrong = [], seen = new Set();
  function colour(text) {
    const parts = text.match(/[0-9.]+/g).map(Number);
    return {rgb: parts.slice(0, 3), alpha: parts.length > 3 ? parts[3] : 1};
  }
  %(functions)s
  function ground(element) {
    for (let at = element; at; at = at.parentElement) {
      const found = colour(getComputedStyle(at).backgroundColor);
      if (found.alpha > 0)
        return found.rgb;
    }
    return [255, 255, 255];
  }
  function scrolls(element) {
    for (let at = element; at; at = at.parentElement)
      if (["auto", "scroll"].includes(getComputedStyle(at).overflowX))
        return true;
    return false;
  }
  const width = document.documentElement.clientWidth;
  const over = document.documentElement.scrollWidth - width;
  if (over > 0)
    wrong.push(`the page is ${over} pixels too wide`);
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  let texts = 0;
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement, text = walker.currentNode.data.trim();
    if (!text || ["SCRIPT", "STYLE", "NOSCRIPT"].includes(element.tagName) || !element.checkVisibility())
      continue;
    ++texts;
    const style = getComputedStyle(element);
    const key = style.color + ground(element) + style.fontSize;
    if (!seen.has(key)) {
      seen.add(key);
      const value = contrast(colour(style.color).rgb, ground(element));
      if (value < %(contrast)s)
        wrong.push(`'${text.slice(0, 40)}' has a contrast of ${value.toFixed(2)}`);
      if (parseFloat(style.fontSize) < %(letter)s)
        wrong.push(`'${text.slice(0, 40)}' has letters of ${style.fontSize}`);
    }
    const box = element.getBoundingClientRect();
    if (box.right > width + 1 && !scrolls(element))
      wrong.push(`'${text.slice(0, 40)}' reaches to ${box.right.toFixed(0)}`);
  }
  if (!texts)
    wrong.push("the page is empty");
  for (const picture of document.images)
    if (!picture.complete || picture.naturalWidth === 0)
      wrong.push(`the picture ${picture.src} is missing`);
  for (const table of document.querySelectorAll("table.markdownTable")) {
    const heads = [...table.querySelectorAll("th")];
    if (!heads.length || heads.some(head => !head.checkVisibility()))
      wrong.push("a table has lost its headings");
    if (!heads.some(head => head.textContent.trim()))
      wrong.push("a table has empty headings");
    if (table.scrollWidth > table.parentElement.clientWidth + 1 && !scrolls(table))
      wrong.push("a wide table does not scroll");
  }
  return {wrong: wrong, ground: ground(document.body),
          scrolling: [...document.querySelectorAll(".wide")].filter(box => box.scrollWidth > box.clientWidth).length};
})()""" % {"functions": CONTRAST, "contrast": LEAST_CONTRAST, "letter": LEAST_LETTER}

RESULTS = "[...document.querySelectorAll('#results li')].map(item => ({text: item.textContent, " \
          "link: item.querySelector('a').textContent, address: item.querySelector('a').href}))"


def problems(browser, width, scheme):
    browser.show(width, scheme)
    measured = browser.evaluate(MEASURE)
    yield from measured["wrong"]
    if (sum(measured["ground"]) < 3 * 128) != (scheme == "dark"):
        yield "the page has the wrong colour %s" % measured["ground"]
    problems.scrolling += measured["scrolling"] if width == min(WIDTHS) else 0


problems.scrolling = 0


def check_page(browser, path, query=""):
    browser.console.clear()
    browser.open(path.as_uri() + query)
    for width in WIDTHS:
        for scheme in SCHEMES:
            for problem in problems(browser, width, scheme):
                yield "%s, %d pixels, %s: %s" % (path.name, width, scheme, problem)
    for complaint in browser.console:
        yield "%s: the console logs: %s" % (path.name, complaint)


def check_search(browser, folder):
    for question, wanted in SEARCHES.items():
        yield from check_page(browser, folder / "search.html", "?q=" + question.replace(" ", "+"))
        found = browser.evaluate(RESULTS)
        if not found:
            yield "the search finds nothing for '%s'" % question
        if any(word.lower() not in row["text"].lower() for row in found[:3] for word in question.split()[:1]):
            yield "'%s' is not in the text of the first results" % question
        if wanted not in [row["link"] for row in found[:5]] and wanted:
            yield "'%s' is not among the first results for '%s'" % (wanted, question)
        for row in found[:3]:
            browser.open(row["address"])
            if "#" in row["address"] and not browser.evaluate("!!document.querySelector(':target')"):
                yield "the search links to %s, which does not exist" % row["address"]
    yield from check_guide(browser, folder)
    browser.open((folder / "search.html").as_uri() + "?q=nothing-has-this-name")
    if browser.evaluate("document.querySelector('#summary').textContent") != "Nothing found.":
        yield "the search finds 'nothing-has-this-name'"
    # From the search field of a page.
    browser.open((folder / "index.html").as_uri())
    browser.evaluate("document.querySelector('header input').value = 'setTimeout'; document.querySelector('header form').submit()")
    while browser.receive().get("method") != "Page.loadEventFired":
        pass
    if not browser.evaluate(RESULTS):
        yield "the search field of a page finds nothing"


def check_guide(browser, folder):
    """The search finds a sentence of the guide by its words."""
    browser.open((folder / "guide.html").as_uri())
    paragraph = browser.evaluate("[...document.querySelectorAll('.contents p')].map(p => p.textContent.trim())"
                                 ".find(text => text.length > 150)")
    words = [word for word in paragraph.split() if word.isalpha()][:12]
    browser.open((folder / "search.html").as_uri() + "?q=" + "+".join(words))
    if not any("guide.html" in row["address"] for row in browser.evaluate(RESULTS)[:5]):
        yield "the search does not find in the guide: %s" % " ".join(words)


def screenshots(browser, folder, target, names):
    target.mkdir(parents=True, exist_ok=True)
    for name in names:
        page, _, query = name.partition("?")
        browser.open((folder / page).as_uri() + ("?" + query if query else ""))
        for width in WIDTHS:
            for scheme in SCHEMES:
                browser.show(width, scheme, 1400)
                browser.screenshot(target / ("%s-%d-%s.png" % (Path(page).stem, width, scheme)))


def main():
    if len(sys.argv) < 3 or sys.argv[3:4] not in ([], ["--screenshots"]) or len(sys.argv) == 4:
        sys.exit(__doc__)
    folder = Path(sys.argv[2]).resolve()
    with Chromium(sys.argv[1]) as browser:
        if sys.argv[3:4] == ["--screenshots"]:
            screenshots(browser, folder, Path(sys.argv[4]), sys.argv[5:])
            return
        found, pages = [], sorted(folder.glob("*.html"))
        for path in pages:
            found += check_page(browser, path)
        found += check_search(browser, folder)
    if not problems.scrolling:
        found.append("no table scrolls at %d pixels" % min(WIDTHS))
    print("\n".join(found + ["%d pages" % len(pages)]))
    sys.exit(bool(found) or not pages)


main()
