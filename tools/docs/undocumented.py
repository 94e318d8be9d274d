#!/usr/bin/env python3
"""Lists the public names without documentation that Doxygen itself does not warn of.

These are values of enumerations and what stands in a namespace or class that has no words itself.
A value that is made of another constant has that one's words. Constructors, destructors and
assignments are left to Doxygen, and what cannot be called needs no words. It reads the XML that
Doxygen has written.

usage: undocumented.py FOLDER | --self-test
"""
import re
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def documented(element):
    """Whether an element has any words."""
    return any("".join(part.itertext()).strip()
               for name in ("briefdescription", "detaileddescription")
               for part in element.findall(name))


def public_names(root):
    """The elements that must have words, each with its name."""
    for compound in root.iter("compounddef"):
        if compound.get("prot", "public") != "public":
            continue
        if compound.get("kind") in ("class", "struct", "union", "namespace"):
            name = compound.findtext("compoundname")
            if "@" not in name and "." not in name:  # an unnamed one has its words at its member
                yield name, compound
        for member in compound.iter("memberdef"):
            name, owner = member.findtext("name"), compound.findtext("compoundname", "").split("::")[-1]
            if member.get("prot", "public") != "public" or member.get("kind") == "friend":
                continue
            if name.lstrip("~") != owner and name != "operator=":
                yield name, member
            for value in member.iter("enumvalue"):
                if not re.fullmatch(r"= [A-Za-z]\w+", value.findtext("initializer", "")):
                    yield value.findtext("name"), value


def problems(folder):
    """One line for each name without words."""
    found = []
    files = sorted(folder.glob("*.xml"))
    for path in files:
        for name, element in public_names(ElementTree.parse(path)):
            if not documented(element):
                found.append(f"{name} is not documented")
    return sorted(set(found)) if files else [f"{folder}: no XML"]


def self_test():
    """Shows that each kind is found when it has no words, and not when it has some."""
    words = "<briefdescription><para>words</para></briefdescription>"
    value = ("<compounddef><memberdef kind='enum'><name>@0</name>" + words +
             "<enumvalue><name>RED</name>{}</enumvalue></memberdef></compounddef>")
    member = "<compounddef><memberdef kind='function'><name>paint</name>{}</memberdef></compounddef>"
    special = "<compounddef><compoundname>n::Brush</compoundname>" + "".join(
        f"<memberdef><name>{name}</name></memberdef>" for name in ("Brush", "~Brush", "operator=")) + "</compounddef>"
    same = value.replace("RED</name>", "RED</name><initializer>= OTHER_RED</initializer>")
    number = value.replace("RED</name>", "RED</name><initializer>= 1</initializer>")
    record = "<compounddef kind='struct'><compoundname>Brush</compoundname>{}</compounddef>"
    hidden = ("<compounddef><memberdef kind='variable' prot='private'><name>ink</name>{}</memberdef>"
              "<memberdef kind='friend'><name>Painter</name></memberdef></compounddef>"
              "<compounddef prot='private' kind='struct'><compoundname>Brush::Hair</compoundname></compounddef>")
    unnamed = "<compounddef kind='union'><compoundname>Brush.@1</compoundname>{}</compounddef>"
    of_member = unnamed.replace(".@1", ".value")
    for form, name in ((value, "RED"), (member, "paint"), (record, "Brush"),
                       (hidden, None), (unnamed, None), (of_member, None),
                       (special, None), (same, None), (number, "RED")):
        for text in (words, "", "<detaileddescription> </detaileddescription>"):
            with tempfile.TemporaryDirectory() as folder:
                Path(folder, "x.xml").write_text("<doxygen>" + form.format(text) + "</doxygen>")
                got = problems(Path(folder))
            expected = [] if text == words or name is None else [f"{name} is not documented"]
            assert got == expected, f"{form}, {text}: {got}"
    with tempfile.TemporaryDirectory() as folder:
        assert len(problems(Path(folder))) == 1


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    if sys.argv[1] == "--self-test":
        self_test()
        sys.exit()
    LINES = problems(Path(sys.argv[1]))
    print("\n".join(LINES), end="\n" if LINES else "")
    sys.exit(1 if LINES else 0)
