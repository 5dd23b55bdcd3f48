#!/usr/bin/python3
"""Looks at the links of README.md and docs/*.md: links.py ROOT. Files and headings that they name are there."""
import glob
import os
import re
import sys


def headings(path):
    with open(path, encoding="utf-8") as file:
        lines = re.findall(r"^#+ (.*)$", file.read(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", line.lower()).replace(" ", "-") for line in lines}


def main():
    os.chdir(sys.argv[1])
    n_links, n_wrong = 0, 0
    for document in ["README.md"] + sorted(glob.glob("docs/*.md")):
        with open(document, encoding="utf-8") as file:
            links = re.findall(r"\]\((?!https?:)([^)#]*)(?:#([^)]*))?\)", file.read())
        for path, heading in links:
            target = os.path.join(os.path.dirname(document), path) if path else document
            n_links += 1
            if not os.path.exists(target) or (heading and heading not in headings(target)):
                n_wrong += 1
                print(f"{document}: {path}#{heading} is not there")
    print(f"{n_links} links, {n_wrong} wrong")
    sys.exit(n_wrong > 0 or n_links < 20)


if __name__ == "__main__":
    main()
