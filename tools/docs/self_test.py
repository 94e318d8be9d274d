#!/usr/bin/env python3
"""Shows what the tools beside this file make of small inputs: what the test of the manual in a browser
would not notice, such as an entry that the search has not, or a man page without its functions.

usage: self_test.py
"""
import json
import subprocess
import sys
import tempfile
from pathlib import Path

import finish_html
import man_pages
import prepare
import search_index

HERE = Path(__file__).resolve().parent


def check(what, got, expected):
    assert got == expected, f"{what}: is\n{got}\nnot\n{expected}"


def written(folder, files):
    """A folder with files in it."""
    for name, text in files.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(text, encoding="utf-8")
    return folder


def test_prepare():
    def markdown(path, text):
        return "\n".join(prepare.markdown(path, text.split("\n")))

    listings = "```c\n# no [a](b.md)\n```\n  ```text\n  State"
    check("headings", markdown("docs/abi.md", "# One `two`\n## In short!\n" + listings),
          "# One `two` {#abi}\n## In short! {#abi-in-short}\n" + listings)
    check("the title of the first page", markdown("README.md", "# Common"), "# About the library {#readme}")
    check("the start has no name of its own", markdown("docs/manual/main.md", "# Start\n## Next"),
          "# Start\n## Next {#index-next}")
    links = {"[a](01_b.md)": "[a](@ref guide_01_b)", "[a](../abi.md#in-short)": "[a](@ref abi-in-short)",
             "[a](#here)": "[a](@ref guide_02_c-here)", "[a](../../LICENSE)": "[a](files/LICENSE.txt)",
             "[a](https://a.b/c)": "[a](https://a.b/c)", "![a](p.svg)": "![a](p.svg)",
             "![a b](../p.png)": "![a b](p.png)",
             "a State, `State`, Mapped": "a %State, `State`, Mapped"}
    for text, expected in links.items():
        check(text, markdown("docs/guide/02_c.md", text), expected)
    check("a page of the guide", markdown(prepare.GUIDE, "[a](01_b.md)"), '@subpage guide_01_b "a"')
    listed = markdown("docs/manual/main.md", "<!-- pages: docs/*.md -->").split("\n")
    check("a list of pages", "- @subpage abi" in listed, True)
    record = ["struct A {", "    int a;", "    /* Private: b */", "    int b;", "    /* public */", "    int c;",
              "    /* private */", "    int d;", "} A;", "int e;"]
    check("private fields", list(prepare.header(record)),
          ["struct A {", "    int a;", "", "", "    /* public */", "    int c;", "", "", "} A;", "int e;"])


def test_finish_html(folder):
    html = written(folder, {
        "index.html": '<a href="a.html">a</a>', "a.html": '<p id="x"><a href="#y">Classes</a> &#124;\n'
        '<a href="#x">Types</a> &#124;\n', "tree.html": '<p id="z">', "orphan.html": '<a href="orphan.html">',
        "navtreedata.js": '["t", "tree.html#z"], ["x", "tree.html#x"], ["g", "tree.html#gone"]'})
    finish_html.remove_orphans(html)
    check("pages", sorted(page.name for page in html.glob("*.html")), ["a.html", "index.html", "tree.html"])
    finish_html.repair_tree(html)
    check("the tree", (html / "navtreedata.js").read_text(),
          '["t", "tree.html#z"], ["x", "a.html#x"], ["g", "tree.html"]')
    finish_html.remove_broken_overview(html / "a.html")
    check("an overview", (html / "a.html").read_text(), '<p id="x"><a href="#x">Types</a> &#124;\n')
    written(html, {"a.html": 'href="files/LICENSE.txt"'})
    tool = [sys.executable, HERE / "finish_html.py", html]
    written(html, {"index.html": '<a href="a.html">a</a>'})
    subprocess.run(tool, check=True)
    check("a copy", (html / "files/LICENSE.txt").read_bytes(), (HERE.parents[1] / "LICENSE").read_bytes())
    written(html, {"a.html": 'href="files/gone.c.txt"'})
    ended = subprocess.run(tool, check=False, stderr=subprocess.PIPE, text=True)
    check("a file that is not there", (ended.returncode, ended.stderr),
          (1, "a.html: leads to gone.c, which is no file of this repository\n"))


def member(kind, name, more="", words="Words.", anchor=None, prot="public"):
    return (f"<memberdef kind='{kind}' id='a__b_8h_1{anchor or name}' prot='{prot}'><name>{name}</name>{more}"
            f"<briefdescription><para>{words}</para></briefdescription><location file='common/a_b.h'/></memberdef>")


HEADER = ("<compounddef id='a__b_8h' kind='file'><compoundname>a_b.h</compoundname>"
          "<includes refid='c_8h'>c.h</includes><includes>stdio.h</includes>"
          "<briefdescription><para>Does it.</para></briefdescription><detaileddescription>"
          "<para>More: <itemizedlist><listitem><para>.one</para></listitem></itemizedlist><verbatim>  a\\b\n</verbatim>"
          "<table><row><entry><para>k</para></entry><entry><para>v</para></entry></row></table></para>"
          "</detaileddescription>"
          + member("define", "A_MAX", "<param><defname>x</defname></param>")
          + member("typedef", "A_t", "<definition>typedef int A_t</definition>")
          + member("enum", "@0", "<enumvalue id='a__b_8h_1two'><name>A_TWO</name><initializer>= 2</initializer>"
                   "<briefdescription><para>second</para></briefdescription></enumvalue>", "Which.", "enum")
          + member("function", "A_Do", "<definition>int A_Do</definition><argsstring>(int *x)</argsstring>",
                   "Does.<parameterlist><parameteritem>\n<parameternamelist>\n<parametername>x</parametername>\n"
                   "</parameternamelist><parameterdescription><para>not null</para></parameterdescription>"
                   "</parameteritem></parameterlist><simplesect kind='return'><para>-1</para></simplesect>")
          + "<location file='common/a_b.h'/></compounddef>")
OTHER = ("<compounddef id='c_8h' kind='file'><compoundname>c.h</compoundname><briefdescription/><detaileddescription/>"
         "<location file='common/c.h'/></compounddef>")
RECORDS = "".join(f"<compounddef id='struct{name}' kind='{kind}' prot='{prot}'><compoundname>{name}</compoundname>"
                  f"<detaileddescription><para>It is {name}.</para></detaileddescription>{fields}"
                  "<location file='common/a_b.h'/></compounddef>" for name, kind, prot, fields in (
                      ("A", "struct", "public", member("variable", "u", "<type>union A::@1</type>", "either")
                       + member("variable", "p", "<type>int</type>", prot="private")
                       + member("function", "f", "<definition>int A::f</definition>", prot="private")),
                      ("A.u", "union", "public", member("variable", "n", "<type>int</type>", "number")),
                      ("A::B", "struct", "private", member("variable", "h", "<type>int</type>", "hidden"))))
PAGE = ("<compounddef id='guide' kind='page'><compoundname>guide</compoundname><title>Guide</title>"
        "<detaileddescription><para>Begin<sp/>h<bold>er</bold>e.</para><sect1 id='guide_1first'><title>First</title>"
        "<para>Words.</para></sect1>"
        "</detaileddescription><location file='docs/guide.md'/></compounddef>")

MAN = r"""
.SH NAME
common_a_b, A_Do, A_MAX \- Does it
.SH SYNOPSIS
.nf
\fB#include <common/a_b.h>\fR

int A_Do(int *x);
.fi
.SH DESCRIPTION
Does it.
.PP
More:
.IP \(bu 3
\&.one
.PP
.PP
.RS 4
.EX
  a\(rsb
.EE
.RE
.PP
.PP
.RS 4
.EX
k  v
.EE
.RE
.PP
.SH TYPES
.PP
.nf
\fBtypedef int A_t;\fR
.fi
.RS 4
.PP
Words.
.RE
.SH CONSTANTS
.PP
Which.
.TP
A_TWO = 2
second
.SH RECORDS
.SS "struct A"
It is A.
.TP
\fBunion u;\fR
either
.RS
.TP
\fBint n;\fR
number
.RE
.SH MACROS
.PP
.nf
\fB#define A_MAX(x)\fR
.fi
.RS 4
.PP
Words.
.RE
.SH FUNCTIONS
.PP
.nf
\fBint A_Do(int *x);\fR
.fi
.RS 4
.PP
Does.
.TP
\fIx\fR
not null
.TP
\fBReturns\fR
\-1
.RE
.SH SEE ALSO
\fBcommon_c\fR(3),
\fBcommon_library\fR(3)
"""


def test_man_pages(folder):
    xml = written(folder, {"xml/x.xml": f"<doxygen>{HEADER}{OTHER}{RECORDS}</doxygen>"}) / "xml"
    subprocess.run([sys.executable, HERE / "man_pages.py", xml, folder, "1.2.3"], check=True)
    pages = {page.name: page.read_text(encoding="utf-8") for page in (folder / "man3").iterdir()}
    check("pages", sorted(pages), ["A_Do.3", "A_MAX.3", "common_a_b.3", "common_c.3"])
    check("a function's page", pages["A_Do.3"], ".so man3/common_a_b.3\n")
    start = '.TH COMMON_A_B 3 "" "Common library 1.2.3" "Library functions"\n.nh\n.ad l'
    check("a header's page", pages["common_a_b.3"], start + MAN)
    for header, name in {"common/timer.h": "common_timer", "common/common_log.h": "common_log",
                         "common/common.h": "common", "commonpp/timer.hpp": "commonpp_timer"}.items():
        check(header, man_pages.page_name(header), name)
    check("what roff would take for something else", man_pages.escaped(".a\n'b-`^~"), "\\&.a\n\\(aqb\\-\\(ga\\(ha\\(ti")


def test_search_index(folder):
    names = ("A_MAX", "A_t", "enum", "two", "A_Do", "structA", "u", "n", "p", "f")
    anchors = "".join(f'<p id="{name}">' for name in names)
    written(folder, {"x/x.xml": f"<doxygen>{HEADER}{RECORDS}{PAGE}</doxygen>", "html/a__b_8h.html": anchors,
                     "html/guide.html": '<p id="first">'})
    subprocess.run([sys.executable, HERE / "search_index.py", folder / "x", folder / "html"], check=True)
    text = (folder / "html/search_index.js").read_text(encoding="utf-8")
    rows = json.loads(text.removeprefix("window.manualIndex = ").rstrip(";\n"))
    page = "a__b_8h.html"
    check("entries", rows, [
        ["A", f"{page}#structA", "record", "It is A."],
        ["A_Do", f"{page}#A_Do", "function of a_b.h", "Does. x not null -1"],
        ["A_MAX", f"{page}#A_MAX", "macro of a_b.h", "Words."],
        ["A_TWO", f"{page}#two", "value of a_b.h", "second"],
        ["A_t", f"{page}#A_t", "type of a_b.h", "Words."],
        ["First", "guide.html#first", "Guide", "First Words."],
        ["Guide", "guide.html", "page", "Begin here."],
        ["a_b.h", page, "header", "Does it. More: .one a\\b k v"],
        ["n", f"{page}#n", "variable of A.u", "number"],
        ["u", f"{page}#u", "variable of A", "either"],
    ])


def main():
    if len(sys.argv) != 1:
        sys.exit(__doc__)
    test_prepare()
    for test in (test_finish_html, test_man_pages, test_search_index):
        with tempfile.TemporaryDirectory() as folder:
            test(Path(folder))


if __name__ == "__main__":
    main()
