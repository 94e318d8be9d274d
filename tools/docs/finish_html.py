#!/usr/bin/env python3
"""Copies the files that the manual's pages lead to, as text that every browser shows, and removes
pages that nothing leads to and links to sections that a page has not. The tree's links get right
where Doxygen has them wrong: what is in a namespace is on its page, not on that of its header.

A page that leads to a file of this repository has a link to files/PATH.txt, which
tools/docs/prepare.py has made of it. One that leads to a file that is not there is told.

usage: finish_html.py HTML_FOLDER
"""
import re
import shutil
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
OVERVIEW = re.compile(r'<a href="#([\w-]+)">\w+</a> &#124;\n')
COPY = re.compile(r'href="files/([^"#]+)\.txt"')


def remove_orphans(html):
    """Removes what cannot be reached from the first page or from the tree beside each page."""
    texts = {page.name: page.read_text(encoding="utf-8") for page in html.glob("*.html")}
    rest = ["index.html"]
    for script in [*html.glob("navtree*.js"), *html.glob("*_8h*.js"), *html.glob("*_dup.js"),
                   *html.glob("menudata.js")]:
        rest += re.findall(r'"([\w.-]+\.html)[#"]', script.read_text(encoding="utf-8"))
    reached = set()
    while rest:
        name = rest.pop()
        if name in texts and name not in reached:
            reached.add(name)
            rest += re.findall(r'href="([\w.-]+\.html)', texts[name])
    for name in texts.keys() - reached:
        (html / name).unlink()


def remove_broken_overview(page):
    """Doxygen leads from the top of a class to a section of its private classes, which is not there."""
    text = page.read_text(encoding="utf-8")
    kept = OVERVIEW.sub(lambda found: found[0] if f'id="{found[1]}"' in text else "", text)
    if kept != text:
        page.write_text(kept, encoding="utf-8")


def repair_tree(html):
    """Leads each link of the tree to the page that has its anchor, or to the page alone."""
    anchors = {page.name: set(re.findall(r' id="([^"]+)"', page.read_text(encoding="utf-8")))
               for page in sorted(html.glob("*.html"))}
    places = {anchor: name for name, has in anchors.items() for anchor in has}

    def repaired(found):
        page, anchor = found[1], found[2]
        if anchor in anchors.get(page, ()):
            return found[0]
        return f'"{places[anchor]}#{anchor}"' if anchor in places else f'"{page}"'

    for script in html.glob("*.js"):
        text = script.read_text(encoding="utf-8")
        new = re.sub(r'"([\w.-]+\.html)#([^"]+)"', repaired, text)
        if new != text:
            script.write_text(new, encoding="utf-8")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    html = Path(sys.argv[1])
    remove_orphans(html)
    repair_tree(html)
    missing = 0
    for page in sorted(html.glob("*.html")):
        remove_broken_overview(page)
        for path in set(COPY.findall(page.read_text(encoding="utf-8"))):
            copy = html / "files" / f"{path}.txt"
            copy.parent.mkdir(parents=True, exist_ok=True)
            if (ROOT / path).is_file():
                shutil.copyfile(ROOT / path, copy)
            else:
                print(f"{page.name}: leads to {path}, which is no file of this repository", file=sys.stderr)
                missing = 1
    sys.exit(missing)


if __name__ == "__main__":
    main()
