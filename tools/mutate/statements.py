"""Finds the statements of the functions of a source."""
from dataclasses import dataclass

from tokens import Source

# Words that begin what is no expression.
DECLARATION = {
    "auto", "bool", "char", "class", "const", "constexpr", "constinit", "double", "enum", "extern", "float",
    "int", "long", "short", "static", "struct", "thread_local", "typedef", "typename", "union", "unsigned",
    "using", "void", "volatile", "static_assert",
}
JUMPS = {"break", "continue", "goto", "return"}


@dataclass
class Statement:
    first: int  # its first token
    last: int  # its semicolon
    kind: str  # declaration, expression, or the jump
    block: int  # the brace of the block that it is in
    is_alone: bool = False  # in its block
    is_end: bool = False  # of its function


@dataclass
class Header:
    word: str  # if, while, for, switch
    open: int  # its parenthesis


class Code:
    """The statements and the headers of loops and branches of a source."""

    def __init__(self, source: Source):
        self.source = source
        self.statements: list[Statement] = []
        self.headers: list[Header] = []
        self._blocks: set[int] = set()
        for index, token in enumerate(source.tokens):
            if token.text == "{" and token.kind == "sign" and token.match > 0 and self._begins_block(index):
                self._read_block(index)
                mine = [each for each in self.statements if each.block == index]
                if mine and mine[-1].last == token.match - 1:
                    mine[-1].is_end = True

    def _begins_block(self, index: int) -> bool:
        """Whether a brace is that of a function or a lambda, not of a list, a class or a namespace."""
        before = index - 1
        while before >= 0 and self.source.tokens[before].skipped:
            before -= 1
        if before < 0 or index in self._blocks:
            return False
        token = self.source.tokens[before]
        if token.kind == "word":
            return token.text in ("const", "override", "final", "mutable")
        if token.text == "}":  # a member's initial value in front of a constructor's body, or a list's
            head = self.source.tokens[token.match - 1]
            return head.kind == "word" and self.source.tokens[token.match - 2].text in (":", ",")
        return token.text in (")", "]")

    def _read_block(self, brace: int) -> None:
        tokens = self.source.tokens
        self._blocks.add(brace)
        at, end = brace + 1, tokens[brace].match
        count = len(self.statements)
        while at < end:
            at = self._read_statement(at, brace)
        mine = [each for each in self.statements[count:] if each.block == brace]
        if len(mine) == 1:
            mine[0].is_alone = mine[0].first == brace + 1 and mine[0].last == end - 1

    def _read_statement(self, at: int, block: int) -> int:
        tokens = self.source.tokens
        text = tokens[at].text
        if tokens[at].skipped:
            return at + 1
        if text == "{":
            self._read_block(at)
            return tokens[at].match + 1
        if text in ("if", "while", "for", "switch"):
            while tokens[at].text != "(":
                at += 1
            self.headers.append(Header(text, at))
            return tokens[at].match + 1
        if text in ("else", "do", ";"):
            return at + 1
        if text in ("case", "default"):
            while tokens[at].text != ":":
                at = self.source.after_brackets(at)
            return at + 1
        last = at
        while tokens[last].text != ";":
            last = self.source.after_brackets(last)
        self.statements.append(Statement(at, last, self._kind(at), block))
        return last + 1

    def _kind(self, at: int) -> str:
        tokens = self.source.tokens
        text = tokens[at].text
        if text in JUMPS:
            return text
        if text in DECLARATION:
            return "declaration"
        if tokens[at].kind != "word":
            return "expression"
        # A name and another one behind it is a type and what has it.
        while tokens[at + 1].text in ("::", "<"):
            if tokens[at + 1].text == "::":
                at += 2
                continue
            depth, at = 1, at + 1
            while depth and tokens[at].text != ";":
                at += 1
                depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[at].text, 0)
        following = tokens[at + 1]
        if following.text in ("*", "&", "&&"):
            return "declaration"
        return "declaration" if following.kind == "word" else "expression"
