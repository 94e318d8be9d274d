"""What the checks of this project have in common: their command line."""
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def run(doc, self_test, problems):
    """Runs a check: its self-test when asked for, else what lists the problems of this tree."""
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        sys.exit(0)
    if sys.argv[1:]:
        sys.exit(doc)
    found = problems()
    for line in found:
        print(line)
    sys.exit(1 if found else 0)
