#!/usr/bin/env python3
"""The page of "commonctl top -o html": well-formed, alone, harmless whatever the records hold.

Usage: top_page_test.py COMMONCTL
"""

import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from html.parser import HTMLParser

VOID = {"meta"}
HOSTILE = b"<script>alert(1)</script>\"'>&amp;<img src=x onerror=alert(1)>\x1b[2J\xff\xc2\x9b]]>"


class Page(HTMLParser):
    """Reads a page as a browser does, and notes what it must not have."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.open = []
        self.tags = {}
        self.problems = []
        self.text = ""

    def handle_starttag(self, tag, attributes):
        self.tags[tag] = self.tags.get(tag, 0) + 1
        if tag not in VOID:
            self.open.append(tag)
        for name, value in attributes:
            if name in ("src", "href", "srcset", "action", "data") or name.startswith("on"):
                self.problems.append(f"<{tag} {name}={value}>")

    def handle_startendtag(self, tag, attributes):
        self.handle_starttag(tag, attributes)
        if tag not in VOID:
            self.open.pop()

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.problems.append(f"</{tag}> ends another element")

    def handle_data(self, data):
        self.text += data


def record(second, name, level):
    """A line of a log whose zone, process and site have a name."""
    return (
        b"Nov 22 10:00:00 target player[12]: [20779.10:00:%02d.000000000], %s, 12, %s, 13, %s, "
        b"%s, %s 7, text %s\n" % (second, name, name, level, name, name, name)
    )


def page_of(commonctl, content, options=()):
    with tempfile.NamedTemporaryFile(prefix="<b>&", suffix=".log") as log:
        log.write(content)
        log.flush()
        command = [commonctl, "top", "-o", "html", *options, log.name]
        return subprocess.run(command, check=True, capture_output=True, timeout=100).stdout


def check(name, page_bytes):
    """Checks what holds for each page. @return the page as read."""
    text = page_bytes.decode("utf-8")
    ElementTree.fromstring(text)
    page = Page()
    page.feed(text)
    page.close()
    assert not page.problems, (name, page.problems)
    assert not page.open, (name, page.open)
    for tag in ("script", "img", "link", "iframe", "object", "b", "base"):
        assert tag not in page.tags, (name, tag)
    style = text[text.index("<style>") : text.index("</style>")]
    assert "url(" not in style and "@import" not in style, name
    assert "http:" not in text and "https:" not in text, name
    assert not any(ord(c) < 0x20 and c != "\n" or 0x7F <= ord(c) < 0xA0 for c in text), name
    assert page.tags["main"] == page.tags["h1"] == page.tags["title"] == 1, name
    return page


def main():
    commonctl = sys.argv[1]
    levels = (b"Fatal", b"Critical", b"Error", b"Warn", b"Note", b"Info", b"Debug", b"Verbose")
    log = b"".join(
        record(second, HOSTILE if i % 2 else b"TUNER", level)
        for second in range(60)
        for i, level in enumerate(levels * (20 if second == 30 else 1))
    )
    page = check("hostile", page_of(commonctl, log))
    assert page.tags["path"] == len(levels), page.tags
    # Six tables: rates over time, four counts, loud phases.
    assert page.tags["table"] == page.tags["caption"] == 6, page.tags
    assert "<script>alert(1)</script>" in page.text
    assert "\\x1b[2J\\xff\\xc2\\x9b" in page.text

    check("empty", page_of(commonctl, b""))
    check("foreign", page_of(commonctl, HOSTILE + b"\n" + bytes(range(256)) * 5))
    one = check("one section", page_of(commonctl, log, ["--by=site", "--limit=1"]))
    assert "By call site" in one.text and "By zone" not in one.text
    print("the pages are well-formed and need nothing else")


if __name__ == "__main__":
    main()
