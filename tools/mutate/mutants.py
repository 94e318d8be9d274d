"""Makes the mutants of a source: copies of it with one small defect each.

A mutant is a replacement of a piece of the text. Lines keep their numbers, as records tell them.
"""
import collections
import dataclasses
import re
from dataclasses import dataclass

from statements import JUMPS, Code, Header, Statement
from tokens import Source

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
JUNCTIONS = {"&&": "||", "||": "&&"}
ARITHMETIC = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "&=": "|=", "|=": "&=", "<<=": ">>=", ">>=": "<<=",
    "++": "--", "--": "++",
}
# Only with a space on either side: others are those of templates, pointers and references.
SPACED = {"<", ">", "&&", "*", "&", "-", "+", "<<", ">>"}
LEVELS = {"Fatal": "Critical", "Critical": "Error", "Error": "Warn", "Warn": "Error", "Note": "Info",
          "Info": "Debug", "Debug": "Info", "Verbose": "Debug"}
LEVEL = re.compile(rf"(COMMON_LogLevel)?({'|'.join(LEVELS)})")
REPORTS = {"COMMON_REPORT", "COMMON_REPORT_AS", "COMMON_LOG_REPORT"}
ORDER = re.compile(r"(memory_order_|__ATOMIC_)(acquire|release|acq_rel|seq_cst|consume)", re.IGNORECASE)
LOCKS = re.compile(r"lock|fence|barrier|asm|Uncancelled|Keeper|Scope", re.IGNORECASE)
WORDS = {"true": "false", "false": "true", "CLOCK_MONOTONIC": "CLOCK_REALTIME",
         "CLOCK_REALTIME": "CLOCK_MONOTONIC"}
OPERATORS = ("statement", "condition", "comparison", "constant", "arithmetic", "text", "lock", "order")


@dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    operator: str
    before: str  # what is replaced, and by what, each as one line
    after: str
    text: str  # the lines of it, as one line
    start: int
    end: int
    replacement: str
    number: int = 1  # among those of the file that look the same

    @property
    def change(self) -> str:
        number = f" ({self.number})" if self.number > 1 else ""
        return f"{self.before} -> {self.after}{number}"

    @property
    def key(self) -> tuple[str, str, str, str]:
        """What stays when other lines of the file change."""
        return (self.file, self.operator, self.change, self.text)

    def apply(self, text: str) -> str:
        return text[: self.start] + self.replacement + text[self.end :]


def mutants_of(file: str, text: str) -> list[Mutant]:
    """All mutants of a source, in the order of its text."""
    made = sorted(_Maker(file, text).made, key=lambda mutant: (mutant.start, mutant.end, mutant.after))
    count: collections.Counter = collections.Counter()
    numbered = []
    for mutant in made:
        count[mutant.key] += 1
        numbered.append(dataclasses.replace(mutant, number=count[mutant.key]))
    return numbered


def _one_line(text: str) -> str:
    return " ".join(re.sub(r"//[^\n]*", "", text).split())


class _Maker:
    def __init__(self, file: str, text: str):
        self.file = file
        self.source = Source(text)
        self.tokens = self.source.tokens
        self.made: list[Mutant] = []
        code = Code(self.source)
        self.turned: set[int] = set()  # tokens whose mutant would be that of their whole condition
        for header in code.headers:
            self._header(header)
        for statement in code.statements:
            self._statement(statement)
        for first, second in zip(code.statements, code.statements[1:]):
            self._order(first, second)
        shown = [index for index, token in enumerate(self.tokens) if not token.skipped]
        for index in shown:
            if self.tokens[index].text == "?":
                self._choice(index)
        for index in shown:
            self._token(index)

    def _add(self, operator: str, start: int, end: int, replacement: str, after: str | None = None,
             before: str | None = None) -> None:
        replaced = self.source.text[start:end]
        lines = "\n" * (replaced.count("\n") - replacement.count("\n"))
        self.made.append(Mutant(self.file, self.source.line(start), operator, _one_line(before or replaced),
                                _one_line(replacement) if after is None else after,
                                self.source.lines_of(start, end), start, end, replacement + lines))

    def _condition(self, first: int, last: int, fixed: bool) -> None:
        """A condition between two tokens turns; that of a branch is also once and for all true, or false."""
        start, end = self.tokens[first].start, self.tokens[last].end
        text = self.source.text[start:end]
        self._add("condition", start, end, f"!({text})", "!(...)")
        if fixed:
            self._add("condition", start, end, f"(({text}) || true)", "true")
            self._add("condition", start, end, f"(({text}) && false)", "false")
        operators, at = [], first
        while at <= last:
            if self.tokens[at].text in ("==", "!=", "!", "?", *JUNCTIONS) or (
                    self.tokens[at].text in COMPARISONS and self._is_spaced(at)):
                operators.append(at)
            at = self.source.after_brackets(at)
        if len(operators) == 1 and self.tokens[operators[0]].text in ("==", "!=", "!"):
            self.turned.add(operators[0])

    def _header(self, header: Header) -> None:
        if header.word == "switch":
            return
        parts, at, end = [header.open + 1], header.open + 1, self.tokens[header.open].match
        while at < end:
            if self.tokens[at].text == ";":
                parts.append(at + 1)
            at = self.source.after_brackets(at)
        first, last = parts[-1], end - 1
        if header.word == "for":
            if len(parts) != 3:
                return
            first, last = parts[1], parts[2] - 2
        if first > last or self.tokens[first - 2].text == "constexpr":
            return
        at = first
        while at <= last:  # a declaration is true or false by what it declares
            if self.tokens[at].text == "=":
                return
            at = self.source.after_brackets(at)
        self._condition(first, last, header.word == "if")

    def _statement(self, each: Statement) -> None:
        first, last = self.tokens[each.first], self.tokens[each.last]
        if each.kind == "declaration":
            # Only what is declared for what its end does.
            head = self.source.text[first.start : last.end]
            if re.match(r"(const )?[\w:]*(Scope|Keeper|Guard|Lock)\b", head):
                self._add("lock", first.start, last.end, ";", "nothing")
            return
        # Alone in a branch, a jump is left out by the branch's condition, and at the end it does nothing or
        # gives a result.
        if each.kind in JUMPS and (each.is_alone or each.is_end):
            return
        words = [token.text for token in self.tokens[each.first : each.last] if token.kind == "word"]
        is_lock = each.kind == "expression" and any(LOCKS.search(word) for word in words[:3])
        self._add("lock" if is_lock else "statement", first.start, last.end, ";", "nothing")

    def _order(self, first: Statement, second: Statement) -> None:
        """Two calls that follow one another change places."""
        if (first.kind, second.kind) != ("expression", "expression") or second.first != first.last + 1:
            return
        for each in (first, second):
            if all(token.text != "(" for token in self.tokens[each.first : each.last]):
                return
        start, end = self.tokens[first.first].start, self.tokens[second.last].end
        one = self.source.text[start : self.tokens[first.last].end]
        other_start = self.tokens[second.first].start
        other = self.source.text[other_start:end]
        line = self.source.line
        replacement = (f"\n#line {line(other_start)}\n{other}\n#line {line(start)}\n{one}\n"
                       f"#line {line(end - 1)}\n")
        self._add("order", start, end, replacement, "behind the next one", one)

    def _is_spaced(self, index: int) -> bool:
        token, text = self.tokens[index], self.source.text
        return text[token.start - 1].isspace() and text[token.end : token.end + 1].isspace()

    def _token(self, index: int) -> None:
        token = self.tokens[index]
        add = {"number": self._number, "char": self._character, "text": self._text, "word": self._word,
               "sign": self._sign}.get(token.kind)
        if add:
            add(index)

    def _replace(self, operator: str, index: int, replacement: str, after: str | None = None) -> None:
        self._add(operator, self.tokens[index].start, self.tokens[index].end, replacement, after)

    def _number(self, index: int) -> None:
        digits = re.fullmatch(r"(0[xX][\da-fA-F']+|0[bB][01']+|[\d']+)([uUlLzZ]*)", self.tokens[index].text)
        if not digits:
            return
        plain = digits[1].replace("'", "")
        octal = len(plain) > 1 and plain[0] == "0" and plain.isdigit()
        value = int(plain, 8 if octal else 0)
        write = {"0x": hex, "0b": bin}.get(plain[:2].lower(), oct if octal else str)
        for other in (value + 1, value - 1):
            if other >= 0:
                text = write(other).replace("0o", "0") if octal else write(other)
                self._replace("constant", index, text + digits[2])

    def _character(self, index: int) -> None:
        text = self.tokens[index].text
        quoted = text[1:-1]
        self._replace("constant", index, f"'{'~' if quoted != '~' else '-'}'")

    def _text(self, index: int) -> None:
        token = self.tokens[index]
        quote = token.text.index('"')
        self._replace("text", index, f'{token.text[: quote + 1]}~{token.text[quote + 1 :]}')
        if token.end - token.start > quote + 2:
            self._replace("text", index, f'{token.text[:-1]}~"')

    def _word(self, index: int) -> None:
        text = self.tokens[index].text
        before = self.tokens[index - 1].text if index else ""
        if text in WORDS:
            self._replace("constant", index, WORDS[text])
        elif ORDER.fullmatch(text):
            relaxed = ORDER.sub(lambda found: found[1] + ("RELAXED" if found[2].isupper() else "relaxed"), text)
            self._replace("lock", index, relaxed)
        elif text in ("acquire", "release", "acq_rel", "seq_cst") and before == "::":
            self._replace("lock", index, "relaxed")
        elif level := LEVEL.fullmatch(text):
            call = index
            while self.tokens[call].text not in ("(", ";", "{"):
                call -= 1
            if level[1] or self.tokens[call - 1].text in REPORTS:
                self._replace("constant", index, (level[1] or "") + LEVELS[level[2]])

    def _sign(self, index: int) -> None:
        text = self.tokens[index].text
        if index in self.turned or (text in SPACED and not self._is_spaced(index)):
            return
        if self.tokens[index - 1].text == "operator":
            return
        if text in COMPARISONS:
            self._replace("comparison", index, COMPARISONS[text])
        elif text in JUNCTIONS:
            self._replace("condition", index, JUNCTIONS[text])
        elif text in ARITHMETIC:
            self._replace("arithmetic", index, ARITHMETIC[text])
        elif text == "!":
            self._replace("condition", index, "", "nothing")

    def _choice(self, index: int) -> None:
        """What stands in front of a question mark."""
        first = index
        while True:
            before = self.tokens[first - 1]
            if before.text in PAIRS_CLOSED and before.match >= 0:
                first = before.match
            elif before.text in CHOICE_BEGINS or before.text in ARITHMETIC and before.text.endswith("="):
                break
            else:
                first -= 1
        if first < index:
            self._condition(first, index - 1, False)


PAIRS_CLOSED = (")", "]", "}")
CHOICE_BEGINS = ("(", "[", "{", "}", ";", ",", "=", "?", ":", "return", "case")
