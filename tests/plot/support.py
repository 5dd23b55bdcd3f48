"""Runs the two programs in a scratch folder and reads SVG pictures back."""
import contextlib
import io
import os
import re
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

sys.dont_write_bytecode = True
ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), "../.."))
sys.path.insert(0, os.path.join(ROOT, "plot"))

from quilmar_tables import plot_command, table_command

WINDOW_COLUMNS = "CHROM POS END WINDOW N_SNP NEG_LOG10_P ERRCODE DF CHISQ".split()
LEAD_COLUMNS = [*WINDOW_COLUMNS, "N_WINDOWS", "LOCUS_POS", "LOCUS_END"]
HAPLOTYPE_COLUMNS = "CHROM POS END WINDOW HAP CASE_FREQ CTRL_FREQ Z NEG_LOG10_P".split()
EFFECT_COLUMNS = ("CHROM POS END WINDOW MODEL HAP REF_HAP TEST OBS_CT CASE_CT CTRL_CT HAP_FREQ BETA SE OR L90 U90 "
                  "Z_STAT P NEG_LOG10_P LRT_P ERRCODE P_TYPE").split()


class Scratch(unittest.TestCase):
    """Tests in a folder of their own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def run_program(self, program, command):
        """(exit status, standard error stream)."""
        said = io.StringIO()
        sys.argv = [program, *command.split()]
        with contextlib.redirect_stderr(said):
            try:
                status = {"quilmar-plot": plot_command, "quilmar-table": table_command}[program].main()
            except SystemExit as end:
                status = end.code
        return status, said.getvalue()

    def plot(self, command):
        """The picture in p.svg of a command that must succeed."""
        status, said = self.run_program("quilmar-plot", command + " -o p.svg")
        self.assertEqual(status, 0, said)
        return Drawing("p.svg")

    def table(self, command, name="t.csv"):
        """Lines of the table of a command that must succeed."""
        status, said = self.run_program("quilmar-table", f"{command} -o {name}")
        self.assertEqual(status, 0, said)
        return read(name).splitlines()


def read(name):
    with open(name, encoding="utf-8") as file:
        return file.read()


def write_table(name, columns, rows):
    """Rows of blank-separated texts under their columns, separated by tabs; what a row lacks is 1."""
    with open(name, "w", encoding="utf-8") as file:
        for row in [columns, *(row.split() for row in rows)]:
            row += "1" * (len(columns) - len(row))
            file.write("\t".join(row) + "\n")


class Drawing:
    """Texts and points of an SVG; points in the units of the axes, which the ticks' labels give."""

    def __init__(self, path):
        self.root = ET.parse(path).getroot()
        self.ids = {e.get("id"): e for e in self.root.iter() if e.get("id")}
        self.texts = [e.text for e in self.elements(self.root, "text")]

    @staticmethod
    def elements(within, tag):
        return [e for e in within.iter() if e.tag.endswith("}" + tag)]

    def places(self, name):
        """Places of the markers of a group, or of the corners of its lines and areas, in the picture's units."""
        group = self.ids[name]
        marks = [(float(e.get("x")), float(e.get("y"))) for e in self.elements(group, "use")]
        if marks and marks[0][0] != 0:
            return marks
        # The corners of an area count from its left end at the bottom of the picture.
        start = marks[0] if marks else (0, 0)
        corners = [tuple(map(float, place.split())) for e in self.elements(group, "path")
                   for place in re.findall(r"[ML] ([-\d.e]+ [-\d.e]+)", e.get("d"))]
        return [(x + start[0], y + start[1]) for x, y in corners]

    def labels(self, axis):
        """[(label, place along the axis)] of the ticks of "x" or "y"."""
        found = []
        for name, group in self.ids.items():
            if re.fullmatch(axis + r"tick_\d+", name) and (texts := self.elements(group, "text")):
                at = self.places(name)[0] if self.elements(group, "use") else \
                    (float(texts[0].get("x")), float(texts[0].get("y")))
                found.append((texts[0].text, at["xy".index(axis)]))
        return found

    def values(self, name, axis, scale=lambda v: v):
        """Where the group's points lie along an axis whose scaled values are linear in the place."""
        (a, at_a), *_, (b, at_b) = [(scale(float(t.replace("−", "-"))), at) for t, at in self.labels(axis)]
        return [a + (place["xy".index(axis)] - at_a) * (b - a) / (at_b - at_a) for place in self.places(name)]
