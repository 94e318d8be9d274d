"""Reads the list of the mutants that no test can notice (tests/mutants.txt).

An entry is three lines or more, and an empty one behind it:

    FILE: OPERATOR: BEFORE -> AFTER
        LINE OF THE SOURCE
    the reason, in as many lines as it takes

Entries with one reason may stand together: then each but the last has no reason.
"""
Key = tuple[str, str, str, str]


def read_known(text: str) -> tuple[dict[Key, str], list[str]]:
    """The reasons by the keys of the mutants, and what is wrong with the list."""
    known: dict[Key, str] = {}
    wrong: list[str] = []
    for paragraph in text.split("\n\n"):
        lines = [line for line in paragraph.splitlines() if line and not line.startswith("#")]
        keys: list[Key] = []
        while len(lines) >= 2 and lines[1].startswith("    ") and lines[0].count(": ") >= 2:
            file, operator, change = lines[0].split(": ", 2)
            keys.append((file, operator, change, lines[1].strip()))
            lines = lines[2:]
        reason = " ".join(lines)
        if keys and reason and not lines[0].startswith(" "):
            known |= dict.fromkeys(keys, reason)
        elif keys or lines:
            wrong.append(f"no entry with a reason: {paragraph.strip().splitlines()[0]}")
    return known, wrong


def entry(key: Key) -> str:
    """An entry, but for the reason."""
    return f"{key[0]}: {key[1]}: {key[2]}\n    {key[3]}"
