#!/usr/bin/python3
"""Runs the specification listings of README.md and docs/manual.md: listings.py PROGRAM ROOT.

A listing is an indented block that sets a keyword. What it leaves out of STATUS and GENE is added for the
example data that have the columns; no warning or error may come.
"""
import os
import re
import subprocess
import sys
import tempfile

from files import KEYWORDS


def listings(path):
    with open(path, encoding="utf-8") as file:
        blocks = re.findall(r"(?:^(?: {4}.*)?\n)+", file.read(), re.MULTILINE)
    return [block for block in blocks if re.search(rf"^ {{4}}({'|'.join(KEYWORDS)})=", block, re.MULTILINE)]


def completed(block):
    lines = [line[4:] for line in block.splitlines()]
    if not any(line.startswith("STATUS=") for line in lines):
        lines.append("STATUS=2")
    if not any(line.startswith("GENE=") for line in lines):
        lines += ["GENE=3 4 5"] if "ENVIRONMENT=" in block else ["GENE=3 4 5", "GENE=6 7 8"]
    return "\n".join(lines) + "\n"


def main():
    program, root = map(os.path.abspath, sys.argv[1:3])
    found, wrong = 0, 0
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for document in ("README.md", "docs/manual.md"):
            for block in listings(f"{root}/{document}"):
                with open("listing", "w", encoding="utf-8") as file:
                    file.write(completed(block))
                data = "exposed.txt" if "ENVIRONMENT=" in block else "two_genes.txt"
                done = subprocess.run([program, f"{root}/examples/{data}", "listing"], capture_output=True,
                                      text=True, check=False)
                found += 1
                if done.stderr.count("<quilmar> ") != 1 or "result saved to" not in done.stderr:
                    wrong += 1
                    print(f"{document}:", block, done.stderr, sep="\n")
    print(f"{found} listings, {wrong} with messages")
    sys.exit(wrong > 0 or found < 3)


if __name__ == "__main__":
    main()
