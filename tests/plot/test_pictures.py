"""What is drawn is what the tables say: points, bars, intervals and labels are read back from the SVG."""
import gzip
import math
import os
import re
import subprocess
import unittest

import numpy as np
from matplotlib.colors import to_rgb

from support import (EFFECT_COLUMNS, HAPLOTYPE_COLUMNS, LEAD_COLUMNS, ROOT, WINDOW_COLUMNS, Drawing, Scratch, read,
                     write_table)

from quilmar_tables import picture
from quilmar_tables.tails import neg_log10_p_of_z, null_band

# Chromosome, first and last position, name, SNPs, -log10 P, code.
WINDOWS = ["1 1000000 1000200 1 5 0.25 .", "1 3000000 3000000 2 1 1.5 .", "1 3000100 3000300 3 5 NA TOO_LONG",
           "1 9000000 9000200 GENE$1$ 5 2.5 .", "2 4000000 4000200 5 5 0.75 .", "2 8000000 8000200 6 5 0.125 .",
           "2 8000300 8000500 7 5 3.5 ."]


def about(values, expected, within=2e-4):
    return len(values) == len(expected) and np.allclose(sorted(values), sorted(expected), atol=within)


class WindowPictures(Scratch):
    def setUp(self):
        super().setUp()
        write_table("w.tsv", WINDOW_COLUMNS, WINDOWS)

    def test_manhattan(self):
        status, said = self.run_program("quilmar-plot", "manhattan w.tsv -o p.svg")
        # Bonferroni's line stands at 0.05 / 6.
        self.assertEqual((status, said), (0, "p.svg: 6 windows, 1 without a p-value left out. 2 at or below P "
                                             "0.00833333.\n"))
        drawn = Drawing("p.svg")
        self.assertTrue(about(drawn.values("chromosome_1", "y"), [0.25, 1.5]))
        self.assertTrue(about(drawn.values("chromosome_2", "y"), [0.75, 0.125]))
        self.assertTrue(about(drawn.values("hits", "y"), [2.5, 3.5]))
        self.assertTrue(about(drawn.values("level", "y"), [-math.log10(0.05 / 6)] * 2))
        self.assertTrue({"6 windows", "dashed: P = 0.00833 (0.05 / 6)", "GENE$1$", "2:8000300-8000500",
                         "Chromosome", "−log₁₀ P"} <= set(drawn.texts))
        self.assertEqual([label for label, _ in drawn.labels("x")], ["1", "2"])
        # Positions are on one scale, with 0.012 of all base pairs between the chromosomes.
        middles = [1000100, 3000000, 9000100, 4000100, 8000100, 8000400]
        x = [p - 1000100 + (0 if k < 3 else 8000000 + 0.012 * 12000300 - 3000000) for k, p in enumerate(middles)]
        first, second, hits = (drawn.places(name) for name in ("chromosome_1", "chromosome_2", "hits"))
        at = [place[0] for place in [*first, hits[0], *second, hits[1]]]
        self.assertTrue(np.allclose(np.diff(at) / (at[-1] - at[0]), np.diff(x) / (x[-1] - x[0]), atol=1e-6))

    def test_one_chromosome_is_over_megabases(self):
        write_table("w.tsv", WINDOW_COLUMNS, WINDOWS[:4])
        drawn = self.plot("manhattan w.tsv --level 1e-4")
        self.assertTrue(about(drawn.values("chromosome_1", "x"), [1.0001, 3.0, 9.0001], 1e-5))
        self.assertTrue({"Position on chromosome 1 (Mb)", "dashed: P = 0.0001"} <= set(drawn.texts))

    def test_qq(self):
        drawn = self.plot("qq w.tsv")
        expected = [-math.log10(i / 7) for i in range(1, 7)]
        self.assertTrue(about(drawn.values("windows", "x") + drawn.values("hits", "x"), expected))
        self.assertTrue(about(drawn.values("hits", "y"), [3.5, 2.5]))
        pairs = list(zip(drawn.values("windows", "x"), drawn.values("windows", "y")))
        self.assertTrue(about([y for _, y in sorted(pairs)], [0.125, 0.25, 0.75, 1.5]))
        band = drawn.values("band", "y")
        self.assertAlmostEqual(max(band), -math.log10(1 - 0.975 ** (1 / 6)), 3)
        self.assertAlmostEqual(min(band), -math.log10(0.975 ** (1 / 6)), 3)

    def test_region(self):
        write_table("h.tsv", HAPLOTYPE_COLUMNS, [
            "2 8000000 8000200 6 ACG 0.41 0.52 -2.5 1.9", "2 8000000 8000200 6 TCG 0.3 0.29 0.2 0.1",
            "2 8000300 8000500 7 CCC 0.123 0.094 3 2.6", "1 8000300 8000500 7 GGG 0.9 0.9 0 0"])
        drawn = self.plot("region w.tsv --hap h.tsv --range 2:8,000,150-8000300")
        self.assertTrue(about(drawn.values("bars", "x"), [8.0000, 8.0002, 8.0003, 8.0005], 1e-6))
        self.assertTrue(about(drawn.values("bars", "y"), [0.125, 0.125, 3.5, 3.5]))
        self.assertTrue(about(drawn.values("middles", "x"), [8.0001, 8.0004], 1e-6))
        self.assertTrue({"2 windows of 2:8000150-8000300", "8000000-8000200", "P 0.75", "P 3.2e-4", "ACG", "TCG",
                         "▼ 41.0 / 52.0", "30.0 / 29.0", "▲ 12.3 / 9.4", "CCC"} <= set(drawn.texts))
        self.assertNotIn("GGG", drawn.texts)
        status, said = self.run_program("quilmar-plot", "region w.tsv --range 2:1-10 -o p.svg")
        self.assertEqual((status, said), (1, "quilmar-plot: w.tsv: no window with a p-value in 2:1-10.\n"))

    def test_region_with_more_than_fits(self):
        write_table("w.tsv", WINDOW_COLUMNS, [f"3 {k * 100} {k * 100 + 50} {k} 5 {k / 10} ." for k in range(1, 41)])
        write_table("h.tsv", HAPLOTYPE_COLUMNS, [f"3 {k * 100} {k * 100 + 50} {k} {'ACGT' * (2 + 10 * (i == 3))}{i} "
                                                 "0.1 0.1 0 0.1" for k in range(1, 41) for i in range(15)])
        drawn = self.plot("region w.tsv --hap h.tsv --range 3:1-9000")
        headings = [text for text in drawn.texts if text.startswith("P ") and "(" not in text]
        # Of 40 haplotypes of 40 letters three columns fit: those of the windows 38 to 40.
        self.assertEqual(headings, ["P 1.6e-4", "P 1.3e-4", "P 1.0e-4"])
        self.assertEqual(drawn.texts.count("and 3 more"), 3)
        self.assertIn("ACGTACGTACGTACGTACGTACGTACGTACGTACGTACG…", drawn.texts)

    def test_region_of_leads(self):
        # Windows of 100 bases, one every 40, the better the later: those of a column overlap by half at most.
        rows = [f"3 {k * 40} {k * 40 + 100} {k} 5 {k / 1000} ." for k in range(1, 1001)]
        write_table("s.win.tsv", WINDOW_COLUMNS, [*rows, "4 7 8 GENE 5 9 ."])
        write_table("h.tsv", HAPLOTYPE_COLUMNS, [" ".join(row.split()[:4]) + " ACG 0.1 0.1 0 0.1" for row in rows])
        write_table("s.lead.tsv", LEAD_COLUMNS, ["3 2000 2100 50 5 0.05 . 1 1 7 2000 2140",
                                                 "3 12000 12100 300 5 0.3 . 1 1 9 12000 22000"])

        def places(command):
            drawn = self.plot("region s.win.tsv --hap h.tsv " + command)
            return [text.split("-")[0] for text in drawn.texts if re.fullmatch(r"\d+-\d+", text)], drawn

        found, drawn = places("--top 4")  # the lead's locus, with as much again on both sides
        self.assertIn("753 windows of 3:2000-32000", drawn.texts)
        self.assertEqual(found, ["2000", "12000", "31920", "32000"])
        self.assertEqual(len(drawn.places("middles")), 753)
        self.assertNotIn("stroke", read("p.svg").split('id="middles"')[1].split("</g>")[0])
        self.assertEqual(places("--range 3:1900-12100 --top 3")[0], ["2000", "12000", "12080"])
        found, drawn = places("--window 300 --window 301")
        self.assertEqual(found, ["12000", "12040"])
        self.assertIn("506 windows of 3:2000-22140", drawn.texts)
        for command, message in (("--window X", "no window X with a p-value."),
                                 ("--window 1 --window GENE", "these windows lie on several chromosomes.")):
            self.assertEqual(self.run_program("quilmar-plot", f"region s.win.tsv {command} -o p.svg"),
                             (1, f"quilmar-plot: s.win.tsv: {message}\n"))

    def test_compressed_tables_and_formats(self):
        with open("w.tsv", "rb") as plain, gzip.open("w.gz", "wb") as compressed:
            compressed.write(plain.read())
        magic = {"svg": b"<?xml", "png": b"\x89PNG", "PDF": b"%PDF"}
        for suffix, beginning in magic.items():
            drawings = set()
            for table in ("w.tsv", "w.gz", "w.tsv"):
                status, said = self.run_program("quilmar-plot", f"manhattan {table} -o p.{suffix}")
                self.assertEqual(status, 0, said)
                with open("p." + suffix, "rb") as file:
                    drawings.add(file.read())
            self.assertEqual([d[:len(beginning)] for d in drawings], [beginning], "one picture of one table")

    def test_many_points_become_an_image(self):
        # A third each has a chi-square of 2, 2 and 4 times its median (R: qchisq(0.5, c(1, 8))); one has no df.
        rows = [f"1 {k} {k} {k} 1 {k % 100 / 50} . {['1 0.9098728', '8 14.688242', '8 29.376484'][k % 3]}"
                for k in range(1, 10_050)] + ["1 20000 20000 x 1 9 . 0 0"]
        write_table("w.tsv", WINDOW_COLUMNS, rows)
        drawn = self.plot("manhattan w.tsv")
        self.assertEqual(len(drawn.elements(drawn.root, "image")), 1)
        self.assertEqual(len(drawn.places("hits")), 1)
        self.assertIn("10,050 windows, λ = 2", drawn.texts)
        self.assertLess(len(self.plot("qq w.tsv").places("windows")), 2000)


class Forest(Scratch):
    def test_rows(self):
        common = "9 5 4"
        write_table("e.tsv", EFFECT_COLUMNS, [
            f"22 100 200 7 prospective AAG TTG ADD {common} 0.17 0.7 0.1 2 1.5 3 4.6 3.6e-6 5.4437 3e-6 . WALD",
            f"22 100 200 7 prospective CAG TTG ADD {common} 0.01 0.9 0.4 2.5 0.6 900 1.9 0.0123 1.91 0.01 PENALISED LRT",
            f"22 300 400 G prospective AA CC ADD {common} 0.03 inf NA inf 4 inf NA 2e-4 3.69897 2e-4 INFINITE LRT",
            f"22 300 400 G prospective AT CC DOM {common} 0.04 -inf NA 0 0 0.4 NA 0.2 0.69897 0.2 INFINITE_PENALISED LRT",
            f"22 300 400 G prospective GG CC ADD {common} 0.05 NA NA NA NA NA NA NA NA NA NOT_IDENTIFIABLE NA",
            f"22 300 400 G retrospective . . RHO {common} NA 0.1 0.1 NA NA NA 1 0.3 0.52 0.2 . LRT"])
        write_table("h.tsv", HAPLOTYPE_COLUMNS, ["22 100 200 7 AAG 0.219 0.124 5 7", "22 300 400 7 AA 0.5 0.5 0 0"])
        drawn = self.plot("forest e.tsv --hap h.tsv")
        # The lines are heading, two effects, heading, three effects.
        for name, ends in (("estimate_1", [2]), ("interval_1", [1.5, 3]), ("estimate_2", [2.5]),
                           ("interval_4", [4, 26]), ("right_arrow_2", [26]), ("right_arrow_4", [26])):
            found = np.exp(drawn.values(name, "x", math.log))
            self.assertTrue(np.allclose(found, ends, rtol=1e-3), (name, found))
        self.assertTrue(np.allclose(np.exp(drawn.values("interval_5", "x", math.log))[1], 0.4, rtol=1e-3))
        for name in ("estimate_4", "estimate_5", "interval_6", "right_arrow_1", "left_arrow_4"):
            self.assertNotIn(name, drawn.ids)
        self.assertIn("left_arrow_5", drawn.ids)
        self.assertTrue({"22:100-200, reference TTG", "G (22:300-400), reference CC", "AAG", "AT DOM", "21.9%", "12.4%",
                         "OR (90% interval)", "2.00 (1.50-3.00)", "∞ (4.00-∞)", "0 (0-0.40)", "3.6e-6", "2.0e-4",
                         "penalised", "infinite", "not identifiable",
                         "odds ratio, 90% interval; hollow: penalised estimate"} <= set(drawn.texts))
        self.assertIn("fill: #ffffff", read("p.svg").split('id="estimate_2"')[1].split("</g>")[0])
        drawn = self.plot("forest e.tsv --window G")
        self.assertTrue({"3.0%", "Frequency"} <= set(drawn.texts))
        self.assertNotIn("AAG", drawn.texts)
        status, said = self.run_program("quilmar-plot", "forest e.tsv --window X -o p.svg")
        self.assertEqual((status, said), (1, "quilmar-plot: e.tsv: no window X.\n"))
        # The leads beside the table are its choice: first the one with the smaller P.
        os.rename("e.tsv", "e.effects.tsv")
        for leads, options, titles in ((["22 300 400 G 5 9 . 1 1 3 1 2", "22 500 600 8 5 5 . 1 1 1 1 2"], "", "G"),
                                       (["22 300 400 G 5 9 . 1 1 3 1 2", "22 100 200 7 5 10 . 1 1 1 1 2"], "--top 1", "2"),
                                       (["22 300 400 G 5 9 . 1 1 3 1 2"], "--all", "2G"), ([], "", "2G")):
            write_table("e.lead.tsv", LEAD_COLUMNS, leads)
            texts = self.plot("forest e.effects.tsv " + options).texts
            self.assertEqual("".join(text[0] for text in texts if "reference " in text), titles)
        status, said = self.run_program("quilmar-plot", "forest e.effects.tsv --top 2 -o p.svg")
        self.assertIn("e.effects.tsv: --top needs the scan's table .lead.tsv beside it", said)


class Numbers(unittest.TestCase):
    def test_tails(self):
        # R: pnorm(-40, log = TRUE), qbeta(c(0.975, 0.025), 3, 590).
        self.assertAlmostEqual(float(neg_log10_p_of_z(40)), 349.1360, 4)
        self.assertTrue(np.allclose(null_band(3, 592), [1.915419, 2.980354], atol=2e-6))

    def test_shades_differ_in_grey(self):
        grey = [np.dot(to_rgb(color), (0.299, 0.587, 0.114)) for color in (picture.DARK, picture.HIT, picture.LIGHT)]
        self.assertGreater(min(np.diff(grey)), 0.15)


class Errors(Scratch):
    def test_errors(self):
        good = "1 100 200 1 5 0.5 . 1 1"
        for text, message in (
                ("A\tB\n1\t2\n", "no column CHROM, POS, END, WINDOW, N_SNP, DF, CHISQ, NEG_LOG10_P in the header line; "
                                 "is it the right table?"),
                ("", "no column CHROM, POS, END, WINDOW, N_SNP, DF, CHISQ, NEG_LOG10_P in the header line; is it the right "
                     "table?"),
                ([], "the table has no rows."),
                ([good, "1 100 200 2 5 NA TOO_LONG 1 1 x"], "3: 10 columns, but the header has 9."),
                ([good, "1 100 200 2 5 0,5 . 1 1"], "3: NEG_LOG10_P is '0,5', which is no number."),
                ([good, "1 NA 200 2 5 0.5 . 1 1"], "3: POS is NA."), ([good, "1 100 200 2 5 -1 . 1 1"], "3: NEG_LOG10_P is -1."),
                ([good, "1 100 1e308 2 5 1 . 1 1"], "3: END is 1e308."),
                ([good, "1 1 2 2 5 1e308 . 1 1"], "3: NEG_LOG10_P is 1e308."),
                ([f"{k} 100 200 2 5 1 . 1 1" for k in range(5000)], "there are 5000 names of chromosomes; is it the right table?"),
                (b"x" * (1 << 24), "a line has more than 16 MiB; is it the right file?"),
                (["1 100 200 2 5 NA TOO_LONG NA NA"], "none of the 1 windows has a p-value."),
                (b"\x1f\x8b\x08\x00broken", "the compressed data are damaged or cut short.")):
            with open("w.tsv", "wb") as file:
                if isinstance(text, list):
                    rows = [WINDOW_COLUMNS, *(row.split() for row in text)]
                    text = "".join("\t".join(row) + "\n" for row in rows)
                file.write(text if isinstance(text, bytes) else text.encode())
            status, said = self.run_program("quilmar-plot", "manhattan w.tsv -o p.svg")
            where = "w.tsv:" if message[0].isdigit() else "w.tsv: "
            self.assertEqual((status, said), (1, f"quilmar-plot: {where}{message}\n"))
        self.assertEqual(os.listdir(), ["w.tsv"])

    def test_files(self):
        write_table("w.tsv", WINDOW_COLUMNS, WINDOWS)
        os.symlink("w.tsv", "p.svg")
        for command, message in (("qq nowhere -o p.png", "nowhere: No such file or directory."),
                                 ("qq w.tsv -o p.svg", "p.svg: an input would be replaced."),
                                 ("qq w.tsv -o nowhere/p.svg", "nowhere/p.svg: cannot be written: No such file or "
                                                               "directory.")):
            self.assertEqual(self.run_program("quilmar-plot", command), (1, f"quilmar-plot: {message}\n"))

    def test_usage(self):
        for command, message in (("qq w.tsv -o p.jpg", "'p.jpg' does not end in .png, .svg or .pdf"),
                                 ("qq w.tsv -o p.png --level 2", "'2' is no number between 0 and 1"),
                                 ("region w.tsv -o p.png --range 22", "'22' is not CHR:FROM-TO"),
                                 ("region w.tsv -o p.png --top 0", "'0' is no whole number from 1 on"),
                                 ("region w.tsv -o p.png --range 2:9-8", "'2:9-8' ends before it begins"),
                                 ("", "the following arguments are required: PICTURE")):
            status, said = self.run_program("quilmar-plot", command)
            self.assertEqual(status, 2)
            self.assertIn(message, said)


class Manual(unittest.TestCase):
    def test_options(self):
        manual = read(ROOT + "/docs/plot.md")
        for program, kinds in (("quilmar-plot", ("manhattan", "qq", "region", "forest")), ("quilmar-table", ("",))):
            page = read(f"{ROOT}/docs/{program}.1").replace("\\-", "-")
            for kind in kinds:
                text = subprocess.run(f"{ROOT}/plot/{program} {kind} --help", shell=True, check=True, text=True,
                                      capture_output=True).stdout
                options = set(re.findall(r"(?<!\S)--?[a-z]+(?![a-z0-9])", text)) - {"-h", "--help"}
                self.assertGreaterEqual(len(options), 3)
                for option in options:
                    self.assertRegex(manual, rf"(?m)^\|.*`{option}` .*" + (f"(`{kind}`|all)" if kind else ""))
                    self.assertRegex(page, rf"\.B[RI]* .*{option}\b")


@unittest.skipUnless("QUILMAR_SCAN_PROGRAM" in os.environ, "needs quilmar-scan")
class Example(Scratch):
    def test_scan_and_pictures_of_the_manual(self):
        study = ROOT + "/examples/scan/"
        subprocess.run([os.environ["QUILMAR_SCAN_PROGRAM"], "--bfile", study + "study", "--pheno", study + "pheno.txt",
                        "--pheno-name", "T2D", "--covar", study + "covar.txt", "--covar-name", "age,sex,PC1-PC4",
                        "--window", "5", "--quiet", "--out", "t2d"], check=True)
        log = read("t2d.log")
        commands = [line.split()[1:] for line in read(ROOT + "/scripts/pictures.sh").replace("\\\n", "").splitlines()
                    if line.startswith("plot/quilmar-plot")]
        self.assertEqual(len(commands), 4)
        for words in commands:
            *command, _, target = [word.replace("out/", "") for word in words]
            name = target.strip('"').split("/")[1]
            said = subprocess.run([ROOT + "/plot/quilmar-plot", *command, "-o", name], check=True, text=True,
                                  capture_output=True).stderr
            if "forest" not in command:  # which says how many rows it draws
                self.assertIn("Lambda " + said.split("Lambda ")[1].split(". ")[0] + " over 592", log)
                self.assertIn("Bonferroni level for them: " + said.rstrip(".\n").split("P ")[1], log)
            ours, manuals = Drawing(name), Drawing(f"{ROOT}/docs/{name}")
            self.assertEqual(ours.texts, manuals.texts, "docs/ holds an older picture: scripts/pictures.sh docs")
            self.assertLess(os.path.getsize(f"{ROOT}/docs/{name}"), 150_000)


if __name__ == "__main__":
    unittest.main()
