#!/usr/bin/env python3
"""Lists what the manual has lost of the header comments and of the listings on pages, without a warning
of Doxygen: "%s" outside of quotation marks, say, or "__FILE__", which it takes for layout. Reads what
tools/docs/prepare.py has laid out, and the XML that Doxygen has made of it.

usage: lost_words.py INPUT_FOLDER XML_FOLDER | --self-test
"""
import re
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# What is not for readers, and the comments that are.
INTERNAL = re.compile(r"/\*\* @cond\b.*?@endcond \*/", re.DOTALL)
COMMENT = re.compile(r"/\*\*<?\s(.*?)\*/", re.DOTALL)
LAYOUT = re.compile(r"[@\\]\S+|\|[-|]+\||[*|-]")  # words that are not shown themselves
LISTING = re.compile(r"^ *```\w*\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)


def squeezed(text):
    return "".join(text.split())


def shown_texts(folder):
    """By file, all the text that the manual has of it."""
    shown = {}
    for path in sorted(folder.glob("*.xml")):
        for compound in ElementTree.parse(path).iter("compounddef"):
            for element in (compound, *compound.iter("memberdef")):
                if (location := element.find("location")) is not None:
                    shown.setdefault(location.get("file"), []).append(squeezed("".join(element.itertext())))
    return {file: "\n".join(texts) for file, texts in shown.items()}


def pieces(path):
    """What must be shown of a file: each word of a header's comments, each line of a page's listings."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":
        return [line.strip() for listing in LISTING.findall(text) for line in listing.split("\n")]
    comments = [re.sub(r"(?m)^\s*\* ?", "", comment) for comment in COMMENT.findall(INTERNAL.sub("", text))]
    words = (word for comment in comments for word in comment.split())
    return [word.replace("`", "") for word in words if not LAYOUT.fullmatch(word)]


def problems(folder, xml):
    """One line for each piece that is lost."""
    shown = shown_texts(xml)
    files = sorted(path for path in folder.rglob("*") if path.suffix in (".h", ".hpp", ".md"))
    found = [f"{folder}: no files"] if not files else []
    for path in files:
        name = path.relative_to(folder).as_posix()
        found += [f"{name}: the manual does not show {piece}" for piece in dict.fromkeys(pieces(path))
                  if squeezed(piece) not in shown.get(name, "")]
    return found


def self_test():
    """Shows that what is lost is found, and that nothing else is."""
    header = ("/**\n * @param\n * Takes %s, `%d`.\n */\n"
              "/** @cond x */ /** inside */ /** @endcond */ int a; /**< one */\n")
    page = "Text.\n\n```c\nint a;  /** one */\n```\n\n  ```text\n  out\n  ```\n"
    member = "<compounddef><memberdef>one<location file='common/a.h'/></memberdef></compounddef>"
    file = "<compounddef><para>Takes {}, %d.</para><location file='common/a.h'/></compounddef>"
    listing = "<compounddef>int<sp/>a;{}<sp/>out<location file='docs/a.md'/></compounddef>"
    lost = "the manual does not show"
    cases = [
        (file.format("%s") + member + listing.format(" /** one */"), []),
        (file.format("s") + member + listing.format("/** one */"), [f"common/a.h: {lost} %s,"]),
        (file.format("%s") + listing.format("/** one */"), [f"common/a.h: {lost} one"]),
        (file.format("%s") + member + listing.format(""), [f"docs/a.md: {lost} int a;  /** one */"]),
    ]
    for text, expected in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for name, content in {"in/common/a.h": header, "in/docs/a.md": page,
                                  "xml/x.xml": f"<x>{text}</x>"}.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(content)
            got = problems(root / "in", root / "xml")
            assert got == expected, f"{text}: {got}"
    with tempfile.TemporaryDirectory() as folder:
        assert len(problems(Path(folder), Path(folder))) == 1


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        sys.exit()
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    LINES = problems(Path(sys.argv[1]), Path(sys.argv[2]))
    print("\n".join(LINES), end="\n" if LINES else "")
    sys.exit(1 if LINES else 0)
