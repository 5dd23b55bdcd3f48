"""Rows of effects and of reports against values computed by hand (R: exp, pnorm)."""
import os
import subprocess
import unittest

from support import EFFECT_COLUMNS, HAPLOTYPE_COLUMNS, ROOT, Scratch, read, write_table

from quilmar_tables import report, wording

INFINITY = float("inf")


class Words(unittest.TestCase):
    def test_numbers(self):
        for text, tests in ((wording.p_text, {0: "1.00", 0.30103: "0.50", 1: "0.10", 1.0001: "0.10", 1.886057: "0.013", 2.5: "0.0032",
                                              3.42: "3.8e-4", 3.0001: "1.0e-3", 4: "1.0e-4", 411.68: "2.1e-412",
                                              float("nan"): ""}),
                            (wording.ratio_text, {1.474: "1.47", 0.0344: "0.034", 0.1: "0.10", 0.0999: "0.10", 0.095: "0.095",
                                                  99.999: "100", 1e-5: "1.0e-05", 153.4: "153", 0: "0",
                                                  2.5e7: "2.5e+07", INFINITY: "inf"}),
                            (wording.percent_text, {0.123: "12.3%", 0.0045: "0.45%", 0: "0.00%"})):
            for value, expected in tests.items():
                self.assertEqual(text(value), expected, value)


class Effects(Scratch):
    def setUp(self):
        super().setUp()
        counts = "9 5 4"
        write_table("e.tsv", EFFECT_COLUMNS, [
            f"22 100 200 7 prospective ATATG CTATG ADD {counts} 0.109 0.3853 0.107 1.47 1.19 1.81 3.6 3.81e-4 3.419 1e-4 . WALD",
            f"22 100 200 7 prospective A_T CTATG ADD {counts} 0.03 inf NA inf 4 inf NA 2e-4 3.69897 2e-4 INFINITE LRT",
            f"22 100 200 7 prospective GG CTATG ADDxage {counts} 0.05 NA NA NA NA NA NA NA NA NA NO_CONVERGENCE NA",
            f"22 300 400 A&B prospective AAA rest DOM {counts} 0.2 0 1 1 0.5 2 0 1e-300 350.4 1e-300 . WALD",
            f"22 300 400 A&B retrospective . . RHO {counts} NA 0.1 0.1 NA NA NA 1 0.3 0.52 0.2 . LRT"])
        write_table("h.tsv", HAPLOTYPE_COLUMNS,
                    ["22 100 200 7 ATATG 0.123 0.094 5 7", "22 100 200 7 CTATG 0.3 0.4 5 7", "22 1 2 8 GG 1 1 0 0"])

    def test_formats(self):
        self.assertEqual(self.table("e.tsv --hap h.tsv --format markdown"), [
            "| Window | Haplotype | Cases / controls | OR (90% CI) | P | Remark |",
            "|---|---|---|---|---|---|",
            "| 22:100-200 | CTATG | 30.0% / 40.0% | 1 (reference) |  |  |",
            "| 22:100-200 | ATATG | 12.3% / 9.4% | 1.47 (1.19-1.81) | 3.8e-4 |  |",
            "| 22:100-200 | A\\_T | 3.0% | inf (4.00-inf) | 2.0e-4 | infinite |",
            "| 22:100-200 | GG ADDxage | 5.0% |  |  | no convergence |",
            "| A&B (22:300-400) | AAA DOM | 20.0% | 1.00 (0.50-2.00) | 4.0e-351 |  |"])
        self.assertEqual(self.table("e.tsv")[:2], ["Window,Haplotype,Frequency,OR (90% CI),P,Remark",
                                                   "22:100-200,ATATG,10.9%,1.47 (1.19-1.81),3.8e-4,"])
        self.assertEqual(self.table("e.tsv", "t.tex")[:4:3] + self.table("e.tsv", "t.tex")[-1:], [
            r"Window & Haplotype & Frequency & OR (90\% CI) & P & Remark \\",
            r"22:100-200 & A\_T & 3.0\% & $\infty$ (4.00--$\infty$) & $2.0 \times 10^{-4}$ & infinite \\",
            r"A\&B (22:300-400) & AAA DOM & 20.0\% & 1.00 (0.50--2.00) & $4.0 \times 10^{-351}$ &  \\"])

    def test_errors(self):
        with open("nothing", "w", encoding="utf-8"):
            pass
        for name, value in (("p", "inf"), ("q", "-1")):
            write_table(name, EFFECT_COLUMNS, [f"1 1 2 7 m AT CT ADD 9 5 4 0.1 0 1 1 1 1 0 1 {value} 1 ."])
        for command, message in (
                ("p", "p:2: NEG_LOG10_P is inf."), ("q", "q:2: NEG_LOG10_P is -1."),
                ("h.tsv", "h.tsv: no column REF_HAP, TEST, HAP_FREQ, OR, L95, U95, ERRCODE in the header "
                          "line; is it the right table?"),
                ("e.tsv e.tsv", "give one table of effects, or reports alone."),
                ("nothing", "nothing: is neither a table of effects nor a report of quilmar."),
                ("e.tsv --hap e.tsv", "e.tsv: no column CASE_FREQ, CTRL_FREQ in the header line; is it the right table?"),
                ("e.tsv -o e.tsv", "e.tsv: an input would be replaced."),
                ("e.tsv -o /dev/full", "/dev/full: is there and is no regular file.")):
            self.assertEqual(self.run_program("quilmar-table", command), (1, f"quilmar-table: {message}\n"))
        self.assertEqual(self.run_program("quilmar-table", "e.tsv --format html")[0], 2)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([ROOT + "/plot/quilmar-table", "e.tsv"], stdout=full, stderr=subprocess.PIPE,
                                  text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (1, "quilmar-table: standard output: cannot be written: No "
                                                             "space left on device.\n"))


@unittest.skipUnless("QUILMAR_SCAN_PROGRAM" in os.environ, "needs quilmar-scan")
class Leads(Scratch):
    def test_of_merged_parts(self):
        """Those of a whole run whose phenotype is a component of ancestry."""
        study = ROOT + "/examples/scan/"
        with open("pheno", "w", encoding="utf-8") as file:
            rows = [line.split("\t") for line in read(study + "covar.txt").splitlines()]
            place = rows[0].index("PC1")
            file.writelines(f"{row[0]} {row[1]} {1 + (row[place] > '0') if k else 'y'}\n" for k, row in enumerate(rows))
        command = [os.environ["QUILMAR_SCAN_PROGRAM"], "--bfile", study + "study", "--pheno", "pheno", "--window", "2",
                   "--allow-no-covars", "--effects", "none", "--effects-kb", "4", "--quiet", "--out", "t"]
        subprocess.run(command, check=True)
        merged = []
        for part in "123":
            subprocess.run([*command, "--parallel", part, "3"], check=True)
            merged += read(f"t.{part}of3.win.tsv").splitlines(True)[bool(merged):]
        with open("m.win.tsv", "w", encoding="utf-8") as file:
            file.writelines(merged)
        self.assertEqual(self.table("m.win.tsv --kb 4"), read("t.lead.tsv").splitlines())
        self.assertGreater(len(read("t.lead.tsv").splitlines()), 9)


class Layout(unittest.TestCase):
    def test_any_widths(self):
        rows = [("  é011", [0.3008, 0.0699, 4.3027, 0.0]), ("", [-12345.1234, 98765.4321, -0.125, 0.9005]),
                ("  1*X", [float("nan"), INFINITY, -INFINITY, 1.0]), ("  -1", [-0.5])]
        for label in (14, 70):
            for width in (7, 8, 9, 16):
                for digits in (4, 12):
                    lines = [" " * label + "".join(h.rjust(width) for h in ("Estimate", "StdError", "Z-Stat", "P-Value")),
                             "-" * (label + 4 * width), "Effects", "-" * (label + 4 * width), "Genes 1*2"]
                    for name, numbers in rows:
                        cells = [f"{n:{width}.{digits}f}" for n in numbers] + [" " * width] * (4 - len(numbers))
                        lines.append(name + " " * (label - len(name.encode())) + "".join(cells))
                    lines += ["-" * (label + 4 * width), "Iterations 1", "Log-Likelihood -5.1", "Status: Success."]
                    found = list(report.rows_of("r", list(enumerate(lines))))
                    self.assertEqual([(name, repr(numbers)) for *_, name, numbers in found],
                                     [(name.strip(), repr(numbers)) for name, numbers in rows], (label, width, digits))
                    self.assertEqual({row[:2] for row in found}, {("Effects", "Genes 1*2")})


@unittest.skipUnless("QUILMAR_PROGRAM" in os.environ, "needs quilmar")
class Reports(Scratch):
    def analyse(self, data, spec, *options):
        """The report of an example, or of a file here, in this folder."""
        path = data if os.path.exists(data) else f"{ROOT}/examples/{data}"
        subprocess.run([os.environ["QUILMAR_PROGRAM"], path, spec, *options], capture_output=True, check=False)
        return data + ".out"

    def test_examples(self):
        spec = ROOT + "/examples/two_genes.spec"
        manual = [line[4:] for line in read(ROOT + "/docs/plot.md").splitlines() if line.startswith("    | ")]
        lines = self.table(self.analyse("two_genes.txt", spec) + " --format markdown")
        self.assertEqual(lines[:1] + lines[2:], manual[:1] + manual[1:])
        self.assertEqual(lines[2], "| Gene 1 | 011 | 30.5% | 1.35 (1.18-1.55) | 1.7e-5 |")
        exposed = self.analyse("exposed.txt", ROOT + "/examples/exposed.spec", "-m", "C")
        os.rename(exposed, "codominant")
        self.assertEqual([line.split(",")[:3] for line in self.table("codominant")][1:5], [
            ["Gene 1", "011", "28.3%"], ["Gene 1", '"011', ' homozygous deviation"'], ["Environment", "ENV1", ""],
            ["Environment", "ENV2", ""]])
        self.analyse("inbred.txt", ROOT + "/examples/inbred.spec")
        self.analyse("exposed.txt", ROOT + "/examples/exposed.spec")
        self.assertEqual(self.table("two_genes.txt.out inbred.txt.out exposed.txt.out")[::2], [
            "Report,Genes,Haplotype,Controls,OR (95% CI),P", "two_genes.txt,Genes 1*2,101*0110,5.6%,1.66 (1.43-1.91),6.4e-12",
            "exposed.txt,Gene 1,011,28.3%,1.39 (1.18-1.63),6.3e-5", "exposed.txt,Environment,ENV2,,1.34 (1.22-1.46),4.6e-10"])
        # Letters of the .spec beside the report, but for a gene of other SNPs.
        with open("two_genes.spec", "w", encoding="utf-8") as file:
            file.write("letters of 1: A C GT; of 0: T T -\nGENE=3 4 5\nletters of 1: A C; of 0: T T\nGENE=6 7\n")
        self.assertEqual([line.split(",")[1] for line in self.table("two_genes.txt.out")[1:]],
                         ["T-C-GT", "A-T-GT*0110"])

    def test_touching_and_failed(self):
        name = "D" * 70
        with open("wide.txt", "w", encoding="utf-8") as file:
            for k, line in enumerate(read(ROOT + "/examples/exposed.txt").splitlines()):
                cells = line.split()
                cells[5] = name if k == 0 else f"-{cells[5]}e-5"
                file.write(" ".join(cells) + "\n")
        path = self.analyse("wide.txt", ROOT + "/examples/exposed.spec")
        text = read(path)
        self.assertRegex(text, rf"  {name} +-43361\.\d{{4}}12142\.\d{{4}}   -3\.5710")
        failed = "Iteration failed to converge"
        self.assertEqual(self.table(path), ["Genes,Haplotype,Remark", *(f"{genes},{term},{failed}" for genes, term in (
            ("Gene 1", "011"), ("Environment", name), ("Environment", "ENV2"), ("Gene 1", "011*" + name)))])
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(failed, "Success"))
        self.assertEqual(self.table(path), ["Genes,Haplotype,Controls,OR (95% CI),P", "Gene 1,011,28.3%,1.39 (1.18-1.63),6.3e-5",
                                            f"Environment,{name},,0 (0-0),3.6e-4",
                                            "Environment,ENV2,,1.34 (1.22-1.46),4.6e-10",
                                            f"Gene 1,011*{name},28.3%,0 (0-0),1.1e-6"])

    def test_incomplete_reports(self):
        spec = read(ROOT + "/examples/two_genes.spec")
        with open("second", "w", encoding="utf-8") as file:
            file.write(spec.replace("EFFECT=3 -1", "EFFECT=-1 6").replace("EFFECT=5 6", ""))
        lines = self.table(self.analyse("two_genes.txt", "second"))
        # The report does not say how long gene 1 is, so that gene 2 has no frequencies.
        self.assertEqual(lines[0], "Genes,Haplotype,OR (95% CI),P")
        self.assertTrue(lines[1].startswith("Gene 2,0110,"))
        text = read("two_genes.txt.out")
        row = next(line for line in text.splitlines() if line.startswith("  0110"))
        for edited, message in ((text[:text.index("Frequencies")], "the report is cut short."),
                                (text[:text.index("Additive")], "the report has no effects."),
                                (text.replace(row, row[:-1] + "x"), "the row cannot be read: '" + row[:-1].strip() + "x'.")):
            with open("r", "w", encoding="utf-8") as file:
                file.write(edited)
            status, said = self.run_program("quilmar-table", "r")
            self.assertEqual(status, 1)
            self.assertIn(message, said)
        # Without standard errors three columns are blank.
        with open("r", "w", encoding="utf-8") as file:
            file.write(text.replace(row, row[:30].ljust(78)))
        self.assertRegex(self.table("r")[1], r"^Gene 2,0110,\d\.\d\d \(\?-\?\),no standard error$")


if __name__ == "__main__":
    unittest.main()
