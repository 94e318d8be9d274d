#!/usr/bin/env python3
"""Writes the man pages, one for each header, from the XML that Doxygen has written.

timer.h becomes common_timer(3); each of its functions and macros leads there, so that
"man 3 TMR_Start" works, too.

usage: man_pages.py XML_FOLDER MAN_FOLDER VERSION
"""
import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

WIDTH = 74
SPECIAL = str.maketrans({"\\": r"\(rs", "-": r"\-", "'": r"\(aq", "`": r"\(ga", "^": r"\(ha", "~": r"\(ti"})


def page_name(header):
    """The page of a header: common/timer.h is common_timer, commonpp/timer.hpp commonpp_timer."""
    folder, _, name = header.rpartition("/")
    stem = name.rpartition(".")[0]
    if folder.endswith("commonpp"):
        return "commonpp_" + stem
    return stem if re.match(r"common(_|$)", stem) else "common_" + stem


def escaped(text):
    """Text as roff takes it; a line that begins like a request does not become one."""
    return re.sub(r"(?m)^([.'])", r"\\&\1", text.translate(SPECIAL))


def plain(element):
    """The text of an element in one line."""
    return " ".join("".join(element.itertext()).split()) if element is not None else ""


class Roff:
    """Writes what Doxygen knows of formatted text as roff."""

    def __init__(self):
        self.lines = []

    def request(self, name, text=""):
        self.lines.append(f".{name} {text}".rstrip())

    def text(self, text):
        text = " ".join(text.split())
        if text:
            self.lines.append(escaped(text))

    def code(self, text):
        """Lines as they stand, indented."""
        self.request("PP")
        self.request("RS 4")
        self.request("EX")
        self.lines += [escaped(line) or r"\&" for line in text.strip("\n").split("\n")]
        self.request("EE")
        self.request("RE")
        self.request("PP")

    def items(self, element):
        """A list. One in another is indented by what is around it."""
        for number, item in enumerate(element.findall("listitem"), 1):
            self.request("IP", rf"{number}. 4" if element.tag == "orderedlist" else r"\(bu 3")
            for place, para in enumerate(item.findall("para")):
                self.para(para, place > 0)
        self.request("PP")

    def terms(self, element):
        """Arguments or results, each with its words."""
        for item in element.findall("parameteritem"):
            names = ", ".join(plain(name) for name in item.iter("parametername"))
            self.request("TP")
            self.lines.append(rf"\fI{escaped(names)}\fR")
            for para in item.find("parameterdescription"):
                self.para(para, False)

    def table(self, element):
        rows = [[plain(entry) for entry in row.iter("entry")] for row in element.iter("row")]
        widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
        self.code("\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows))

    def para(self, element, apart=True):
        """A paragraph. Lists, code and sections may stand in it."""
        if apart:
            self.request("PP")
        run = [element.text or ""]

        def flush():
            self.text("".join(run))
            run.clear()

        for child in element:
            block = True
            if child.tag in ("verbatim", "programlisting", "itemizedlist", "orderedlist", "parameterlist",
                             "simplesect", "table", "para"):
                flush()
            if child.tag == "verbatim":
                self.code(child.text or "")
            elif child.tag == "programlisting":
                for space in child.iter("sp"):
                    space.text = " "
                self.code("\n".join("".join(line.itertext()) for line in child.iter("codeline")))
            elif child.tag in ("itemizedlist", "orderedlist"):
                self.items(child)
            elif child.tag == "parameterlist":
                self.terms(child)
            elif child.tag == "simplesect":
                self.section(child)
            elif child.tag == "table":
                self.table(child)
            else:
                run.append("".join(child.itertext()))
                block = False
            run.append(("\n" if block else "") + (child.tail or ""))
        flush()

    def section(self, element):
        names = {"return": "Returns", "par": plain(element.find("title"))}
        self.request("TP")
        self.lines.append(rf"\fB{escaped(names.get(element.get('kind'), element.get('kind').capitalize()))}\fR")
        for number, para in enumerate(element.findall("para")):
            self.para(para, number > 0)

    def words(self, element, first=True, others=True):
        """The brief and the detailed words of a documented element: its first paragraph and the
        others apart from what is in front of them, or not."""
        apart = first
        for name in ("briefdescription", "detaileddescription"):
            for para in element.findall(f"{name}/para"):
                self.para(para, apart)
                apart = others


def prototype(member, owner=""):
    """A declaration, in lines that fit. The name of its owner is left out."""
    name, kind = member.findtext("name"), member.get("kind")
    if kind == "define":
        params = [param.findtext("defname") or "" for param in member.findall("param")]
        whole = f"#define {name}" + (f"({', '.join(params)})" if params else "")
    elif kind == "typedef":
        whole = member.findtext("definition") + ";"
    elif kind == "variable":
        between = "" if "(" in (member.findtext("argsstring") or "") else " "
        whole = plain(member.find("type")) + between + name + (member.findtext("argsstring") or "") + ";"
    else:
        whole = member.findtext("definition") + (member.findtext("argsstring") or "") + ";"
    lines = [re.sub(r"([*&]) (?=\w)", r"\1", whole.replace(owner, "") if owner else whole)]
    while len(lines[-1]) > WIDTH and (cut := lines[-1].rfind(", ", 4, WIDTH)) > 0:
        lines[-1:] = [lines[-1][:cut + 1], "    " + lines[-1][cut + 2:].lstrip()]
    return lines


class Page:
    """The man page of a header."""

    def __init__(self, header, compound, version):
        self.header = header
        self.compound = compound
        self.name = page_name(header)
        self.version = version
        self.members = []
        self.records = []
        self.unnamed = {}  # types of fields, by the record's name and the field's

    def of_kind(self, *kinds):
        return [member for member in self.members if member.get("kind") in kinds]

    def callables(self):
        """The functions and macros that a reader may ask for by name."""
        names = [member.findtext("name") for member in self.of_kind("function", "define")]
        return sorted(set(names)) if self.header.endswith(".h") else []

    def declarations(self, roff, members, owner=""):
        """Each member in full: its declaration, and under it its words."""
        for member in members:
            roff.request("PP")
            roff.request("nf")
            roff.lines += [rf"\fB{escaped(line)}\fR" for line in prototype(member, owner)]
            roff.request("fi")
            roff.request("RS 4")
            roff.words(member)
            roff.request("RE")

    def section(self, roff, title, *kinds):
        if self.of_kind(*kinds):
            roff.request("SH", title)
            self.declarations(roff, self.of_kind(*kinds))

    def constants(self, roff):
        enums = self.of_kind("enum")
        if enums:
            roff.request("SH", "CONSTANTS")
        for enum in enums:
            roff.words(enum)
            for value in enum.findall("enumvalue"):
                roff.request("TP")
                roff.lines.append(escaped(f"{value.findtext('name')} {value.findtext('initializer') or ''}".strip()))
                roff.words(value, False, False)

    def fields(self, roff, compound):
        """The fields of a record. One whose type has no name has its own fields below it."""
        for member in compound.iter("memberdef"):
            if member.get("prot") != "public" or member.get("kind") != "variable":
                continue
            inner = self.unnamed.get(f"{compound.findtext('compoundname')}.{member.findtext('name')}")
            shown = prototype(member) if inner is None else [f"{inner.get('kind')} {member.findtext('name')};"]
            roff.request("TP")
            roff.lines.append(rf"\fB{escaped(' '.join(shown))}\fR")
            roff.words(member, False, False)
            if inner is not None:
                roff.request("RS")
                self.fields(roff, inner)
                roff.request("RE")

    def record(self, roff, compound):
        roff.request("SS", f'"{compound.get("kind")} {escaped(compound.findtext("compoundname"))}"')
        roff.words(compound, False)
        self.fields(roff, compound)
        others = [member for member in compound.iter("memberdef")
                  if member.get("prot") == "public" and member.get("kind") not in ("variable", "friend")]
        self.declarations(roff, others, compound.findtext("compoundname") + "::")

    def text(self, names):
        """The page. The names are those of all pages, by what Doxygen calls the headers."""
        roff = Roff()
        roff.request("TH", f'{self.name.upper()} 3 "" "Common library {self.version}" "Library functions"')
        roff.request("nh")
        roff.request("ad", "l")
        roff.request("SH", "NAME")
        brief = plain(self.compound.find("briefdescription")).rstrip(".:")
        roff.lines.append(escaped(", ".join([self.name, *self.callables()])) + r" \- " + escaped(brief))
        roff.request("SH", "SYNOPSIS")
        roff.request("nf")
        roff.lines.append(rf"\fB#include <{escaped(self.header)}>\fR")
        roff.lines += ["", *(escaped(line) for one in self.of_kind("function") for line in prototype(one))]
        roff.request("fi")
        roff.request("SH", "DESCRIPTION")
        roff.words(self.compound, False)
        self.section(roff, "TYPES", "typedef")
        self.constants(roff)
        if self.records:
            roff.request("SH", "RECORDS")
        for compound in self.records:
            self.record(roff, compound)
        self.section(roff, "MACROS", "define")
        self.section(roff, "FUNCTIONS", "function")
        self.section(roff, "VARIABLES", "variable")
        roff.request("SH", "SEE ALSO")
        named = [*self.compound.iter("ref"), *self.compound.findall("includes")]
        seen = {names[part.get("refid")] for part in named if part.get("refid") in names}
        others = sorted((seen | {"common_library"}) - {self.name}) or ["common_log"]
        roff.lines.append(",\n".join(rf"\fB{escaped(other)}\fR(3)" for other in others))
        return "\n".join(roff.lines) + "\n"


def pages(folder, version):
    """The page of each header, with the members and records that are declared in it."""
    compounds = [compound for path in sorted(folder.glob("*.xml"))
                 for compound in ElementTree.parse(path).iter("compounddef")]
    found = {}
    for compound in compounds:
        location = compound.find("location")
        if compound.get("kind") == "file" and re.search(r"\.hp?p?$", location.get("file")):
            found[location.get("file")] = Page(location.get("file"), compound, version)
    seen = set()
    for compound in compounds:
        location = compound.find("location")
        if compound.get("kind") in ("struct", "class", "union") and location is not None:
            if compound.get("prot", "public") == "public" and location.get("file") in found:
                page, name = found[location.get("file")], compound.findtext("compoundname")
                if "." in name:
                    page.unnamed[name] = compound
                else:
                    page.records.append(compound)
        elif compound.get("kind") in ("file", "namespace"):
            for member in compound.iter("memberdef"):
                file = member.find("location").get("file")
                if file in found and member.get("id") not in seen:
                    seen.add(member.get("id"))
                    found[file].members.append(member)
    return list(found.values())


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    folder = Path(sys.argv[2]) / "man3"
    folder.mkdir(parents=True, exist_ok=True)
    made = pages(Path(sys.argv[1]), sys.argv[3])
    names = {page.compound.get("id"): page.name for page in made}
    for page in made:
        (folder / f"{page.name}.3").write_text(page.text(names), encoding="utf-8")
        for name in page.callables():
            if name not in names.values():
                (folder / f"{name}.3").write_text(f".so man3/{page.name}.3\n", encoding="utf-8")


if __name__ == "__main__":
    main()
