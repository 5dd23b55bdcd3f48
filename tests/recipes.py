#!/usr/bin/python3
"""Runs the commands of a document: recipes.py PROGRAMS DOCUMENT FOLDER.

PROGRAMS is the folder of the built programs, FOLDER what is copied to work in. An indented block is a file where the
paragraph before says that `NAME` "holds", "has" or "asks for" something; it is what the commands before it print where
the paragraph begins or ends with "prints"; all others are commands.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

FILE = re.compile(r"`([\w.]+)`[^`]* (?:holds|has|asks for|a job array)\b")


def parts(path):
    """The blocks of a document, each with the paragraph before it."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    before = ""
    for part in re.findall(r"(?:^ {4}.*\n(?:\n(?= {4}))?)+|(?:^(?! {4}).+\n)+", text, re.MULTILINE):
        if part.startswith("    "):
            yield before, re.sub(r"^ {4}", "", part, flags=re.MULTILINE)
        before = part


def main():
    programs, document, folder = map(os.path.abspath, sys.argv[1:4])
    environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", LC_ALL="C")
    printed, n_runs, n_wrong = "", 0, 0
    with tempfile.TemporaryDirectory() as place:
        os.chdir(shutil.copytree(folder, f"{place}/copy"))
        for before, block in parts(document):
            named = FILE.findall(before)
            if re.search(r"^prints\b|\bprints$", before.strip(), re.MULTILINE):
                if block.rstrip() != printed.rstrip():
                    n_wrong += 1
                    print(f"{document} shows:\n{block}\nbut this was printed:\n{printed}")
            elif named:
                with open(named[-1], "w", encoding="utf-8") as file:
                    file.write(block)
            else:
                run = subprocess.run(["bash", "-euo", "pipefail", "-c", block], env=environment, text=True,
                                     capture_output=True, check=False)
                printed, n_runs = run.stdout, n_runs + 1
                if run.returncode != 0:
                    n_wrong += 1
                    print(f"{document}: status {run.returncode} of\n{block}\n{run.stdout}{run.stderr}")
    print(f"{n_runs} runs, {n_wrong} wrong")
    sys.exit(n_wrong > 0 or n_runs == 0)


if __name__ == "__main__":
    main()
