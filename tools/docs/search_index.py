#!/usr/bin/env python3
"""Writes what the search of the manual looks through, from the XML that Doxygen has written.

One entry for each public name, header and heading: its name, the page that shows it, what it is,
and its words. docs/manual/search.js searches them.

usage: search_index.py XML_FOLDER HTML_FOLDER
"""
import json
import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

KINDS = {"define": "macro", "enum": "enumeration", "typedef": "type"}
WORDS = ("briefdescription", "detaileddescription")
BLOCKS = ("para", "title", "entry", "listitem", "programlisting", "codeline", "verbatim", "sp")


def words(element):
    """The text of an element, with spaces where its parts are apart."""
    parts = []

    def collect(node):
        parts.append(node.text or "")
        for child in node:
            collect(child)
            parts.append((" " if child.tag in BLOCKS else "") + (child.tail or ""))

    collect(element)
    return " ".join("".join(parts).split())


def description(element):
    """The words of a documented element, and those of its values and parts."""
    return " ".join(words(part) for name in WORDS for part in element.findall(name)).strip()


class Index:
    """The entries, as they are found."""

    def __init__(self, html):
        self.html = html
        self.entries = {}
        self.anchors = {page.name: set(re.findall(r' id="([^"]+)"', page.read_text(encoding="utf-8")))
                        for page in sorted(html.glob("*.html"))}
        self.all_anchors = set().union(*self.anchors.values())

    def anchor(self, element):
        """The anchor of an element: what follows some "_1" of its id and is on a page."""
        given = element.get("id")
        ends = [found.end() for found in re.finditer("_1", given)]
        return next((given[end:] for end in ends if given[end:] in self.all_anchors), None)

    def add(self, name, page, anchor, kind, text):
        """Adds an entry, unless there is one of that name at that place, as with the list of a
        namespace beside that of its header. What has no anchor has no words either."""
        if page not in self.anchors or anchor is None:
            return
        if anchor and anchor not in self.anchors[page]:
            # What is in a namespace is on its page, though the list of the header has it, too.
            page = next((other for other, anchors in self.anchors.items() if anchor in anchors), page)
        address = page + ("#" + anchor if anchor else "")
        self.entries.setdefault((name, address), [name, address, kind, text])

    def place(self, compound):
        """The page of a compound. A record is shown on that of its header."""
        page = compound.get("id") + ".html"
        if (self.html / page).is_file():
            return page, ""
        header = Path(compound.find("location").get("file")).name
        return header.replace("_", "__").replace(".", "_8") + ".html", compound.get("id")

    def add_members(self, compound, page):
        """The members of a compound, and the values of its enumerations."""
        owner = Path(compound.findtext("compoundname")).name
        for member in compound.iter("memberdef"):
            if member.get("prot", "public") != "public" or member.get("kind") == "friend":
                continue
            anchor = self.anchor(member)
            name = member.findtext("name")
            kind = KINDS.get(member.get("kind"), member.get("kind"))
            if not name.startswith("@") and name:
                self.add(name, page, anchor, f"{kind} of {owner}", description(member))
            for value in member.iter("enumvalue"):
                shown = self.anchor(value) or anchor  # one without words is shown with the others
                self.add(value.findtext("name"), page, shown, f"value of {owner}", description(value))

    def add_page(self, compound, page):
        """A page, and each of its sections with the words up to the next one."""
        title = compound.findtext("title") or compound.findtext("compoundname")
        body = compound.find("detaileddescription")
        sections = [node for node in body.iter() if node.tag.startswith("sect")]
        for section in sections:
            own = " ".join(words(node) for node in section if not node.tag.startswith("sect"))
            self.add(words(section.find("title")), page, self.anchor(section), title, own)
        self.add(title, page, "", "page", " ".join(words(node) for node in body if node not in sections))

    def add_compound(self, compound):
        """A header, record, class, namespace or page with what is in it."""
        kind = compound.get("kind")
        if compound.get("prot", "public") != "public":
            return
        if kind in ("page", "file"):
            page, anchor = compound.get("id").replace("indexpage", "index") + ".html", ""
            if not (self.html / page).is_file():
                return
        elif kind in ("struct", "class", "union", "namespace") and compound.find("location") is not None:
            page, anchor = self.place(compound)
        else:
            return
        if kind == "page":
            self.add_page(compound, page)
            return
        name = compound.findtext("compoundname")
        if name.endswith(".md"):
            return
        if "." not in name or kind == "file":
            shown = "header" if kind == "file" else "record" if kind == "struct" else kind
            self.add(name, page, anchor, shown, description(compound))
        self.add_members(compound, page)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    xml, html = Path(sys.argv[1]), Path(sys.argv[2])
    index = Index(html)
    for path in sorted(xml.glob("*.xml")):
        for compound in ElementTree.parse(path).iter("compounddef"):
            index.add_compound(compound)
    entries = sorted(index.entries.values())
    rows = ",\n".join(json.dumps(entry, ensure_ascii=False) for entry in entries)
    (html / "search_index.js").write_text(f"window.manualIndex = [\n{rows}\n];\n", encoding="utf-8")


if __name__ == "__main__":
    main()
