#!/usr/bin/env python3
"""Lays out the files of this repository for Doxygen, line by line the same, in a folder.

Headers go to common/ and commonpp/, as they are included. What a record keeps to itself, from a
comment that begins with "private" to one that says "public" or to the end, is left out.

Markdown: pages and headings get names that links can lead to; links to other pages become
references, links to other files lead to their copies in the manual (tools/docs/finish_html.py makes
these), pictures are beside the pages; a line "<!-- pages: PATTERN -->" becomes the list of the
pages that fit, and the pages of the guide become parts of its first one.

usage: prepare.py FOLDER FILE...
"""
import os
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LINK = re.compile(r"(?<!!)\[([^][]+)\]\(([^()\s]+)\)")
IMAGE = re.compile(r"(!\[[^][]*\])\((?:[^()\s]*/)?([^()\s/]+)\)")
GUIDE = "docs/guide/index.md"
TITLES = {"README.md": "About the library"}  # the start of the manual has the name of the library
RECORDS = re.compile(r"(`[^`]*`|\[[^]]*\])|\b(State|Map)\b")  # words that are names of records, too
PAGES = re.compile(r"<!-- pages: (\S+) -->")
PRIVATE = re.compile(r"\s*/\* private\b", re.IGNORECASE)
PUBLIC = re.compile(r"\}|\s*/\* public \*/")


def slug(heading):
    """The anchor of a heading, as the repository's pages have it."""
    plain = re.sub(r"[^\w\- ]", "", heading.strip().lower())
    return plain.replace(" ", "-")


def page_name(path):
    """The name that a Markdown file has as a page: docs/guide/01_first.md is guide_01_first."""
    if path == "docs/manual/main.md":
        return "index"
    if path == GUIDE:
        return "guide"
    return path.removeprefix("docs/").removeprefix("manual/").removesuffix(".md").replace("/", "_").lower()


def anchor_name(page, anchor):
    """The name of a heading; it is the page's own where there is none."""
    return f"{page}-{anchor}" if anchor else page


def target(path, link):
    """Where a link of the Markdown file at path leads to in the manual."""
    if re.match(r"[a-z]+:|@ref", link):
        return link
    file, _, anchor = link.partition("#")
    there = os.path.normpath(Path(path).parent / file) if file else path
    if there.endswith(".md"):
        return "@ref " + anchor_name(page_name(there), anchor)
    return f"files/{there}.txt"


def linked(path, text, link):
    """A link of the Markdown file at path, as Doxygen shall read it."""
    there = target(path, link)
    if path == GUIDE and there.startswith("@ref guide_"):
        return f'{there.replace("@ref", "@subpage")} "{text}"'
    return f"[{text}]({there})"


def unlinked(text):
    """Prose in which no ordinary word is taken for a record."""
    return RECORDS.sub(lambda found: found[1] or "%" + found[2], text)


def page_list(pattern):
    """The list of the pages that fit a pattern, which become parts of the page it stands on."""
    paths = sorted(file.relative_to(ROOT).as_posix() for file in ROOT.glob(pattern))
    return [f"- @subpage {page_name(path)}" for path in paths]


def markdown(path, lines):
    """The lines of a Markdown file as Doxygen shall read them."""
    page = page_name(path)
    titled = fenced = False
    for line in lines:
        if line.lstrip().startswith("```"):
            fenced = not fenced
        heading = None if fenced else re.fullmatch(r"(#+) (.*?)", line)
        pages = PAGES.fullmatch(line)
        if heading:
            name = anchor_name(page, slug(heading[2]) if titled else "")
            heading_text = unlinked(heading[2])
            if not titled:
                line = f"# {TITLES.get(path, heading_text)}"
            yield f"{line} {{#{name}}}" if name != "index" else line
            titled = True
        elif pages:
            yield from page_list(pages[1])
        elif fenced:
            yield line
        else:
            line = IMAGE.sub(r"\1(\2)", line)
            yield unlinked(LINK.sub(lambda found: linked(path, found[1], found[2]), line))


def header(lines):
    """The lines of a header without what records keep to themselves."""
    private = False
    for line in lines:
        if PRIVATE.match(line):
            private = True
        elif PUBLIC.match(line):
            private = False
        yield "" if private else line


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    folder = Path(sys.argv[1])
    for path in sys.argv[2:]:
        lines = (ROOT / path).read_text(encoding="utf-8").split("\n")
        place = folder / re.sub(r"^include/(commonpp/)?", lambda found: found[1] or "common/", path)
        place.parent.mkdir(parents=True, exist_ok=True)
        made = markdown(path, lines) if path.endswith(".md") else header(lines)
        place.write_text("\n".join(made), encoding="utf-8")


if __name__ == "__main__":
    main()
