"""Runs in gdb: gives it the commands of a file and writes their answers to another one.

The files are $GDB_TEST_COMMANDS and $GDB_TEST_ANSWERS.
"""
import json
import os

import gdb


def answer(command):
    try:
        return gdb.execute(command, to_string=True)
    except gdb.error as error:
        return f"error: {error}"


with open(os.environ["GDB_TEST_COMMANDS"], encoding="utf-8") as commands:
    answers = [answer(command) for command in json.load(commands)]
with open(os.environ["GDB_TEST_ANSWERS"], "w", encoding="utf-8") as file:
    json.dump(answers, file)
