"""Takes C++ sources apart into tokens, and tells which of them no mutant may touch."""
import bisect
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<space>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<raw>(?:u8|[uUL])?R"(?P<mark>[^(]*)\(.*?\)(?P=mark)")
      | (?P<text>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
      | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
      | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|<=>|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)
PAIRS = {"(": ")", "[": "]", "{": "}"}
# What is checked or chosen while compiling: with the parentheses behind it, it is no code that runs.
DECLARING = {"static_assert", "__attribute__", "alignas", "decltype", "noexcept", "requires", "COMMON_PRINTF"}


@dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int
    skipped: bool = False
    match: int = -1  # the index of the other bracket


class Source:
    """The tokens of a source, without comments and preprocessor lines."""

    def __init__(self, text: str):
        self.text = text
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", text)]
        self.tokens: list[Token] = []
        at = 0
        while at < len(text):
            found = TOKEN.match(text, at)
            if found.lastgroup == "directive" and at > 0 and text[text.rfind("\n", 0, at) + 1 : at].strip():
                raise ValueError(f"a directive in line {self.line(at)} that begins no line")
            kind = "raw" if found.group("raw") else found.lastgroup
            if kind not in ("space", "directive"):
                self.tokens.append(Token(kind, found.group(), at, found.end()))
            at = found.end()
        self._match_brackets()
        self._skip_declaring()

    def line(self, offset: int) -> int:
        return bisect.bisect_right(self.line_starts, offset)

    def lines_of(self, start: int, end: int) -> str:
        """The lines from one offset to another, as one line without what is in front and behind."""
        first = self.line_starts[self.line(start) - 1]
        last = self.line(max(start, end - 1))
        stop = self.line_starts[last] if last < len(self.line_starts) else len(self.text)
        return " ".join(self.text[first:stop].split())

    def after_brackets(self, index: int) -> int:
        """The index behind a bracket's other one, or behind a token that is none."""
        match = self.tokens[index].match
        return max(index, match) + 1

    def _match_brackets(self) -> None:
        opened: list[int] = []
        for index, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in PAIRS:
                opened.append(index)
            elif token.text in PAIRS.values() and opened and PAIRS[self.tokens[opened[-1]].text] == token.text:
                token.match = opened.pop()
                self.tokens[token.match].match = index

    def _skip(self, first: int, last: int) -> None:
        for token in self.tokens[first : last + 1]:
            token.skipped = True

    def _skip_declaring(self) -> None:
        tokens = self.tokens
        for index, token in enumerate(tokens[:-1]):
            following = tokens[index + 1]
            if token.text in DECLARING:
                self._skip(index, following.match if following.text == "(" else index)
            elif token.text == "[" and following.text == "[" and token.match > 0:
                self._skip(index, token.match)
            elif token.text == "extern" and following.kind == "text":
                self._skip(index, index + 1)
            elif token.text in ("using", "typedef"):
                end = index
                while tokens[end].text != ";":
                    end += 1
                self._skip(index, end)
            elif token.text == "template" and following.text == "<":
                depth, end = 0, index
                while depth or end == index:
                    end += 1
                    depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[end].text, 0)
                self._skip(index, end)
