// quilmar-scan --vcf: the tables of the .bed of the same data, what is left out, and what ends a run.
#include "tests/scan_support.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

bool has_command(std::string const& name) {
    return std::system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

// A record up to FORMAT, what stands behind each call, and the calls by letters: 0 1 2 copies of ALT,
// | one copy phased, . missing, h a half call, s a single allele, t three alleles.
struct vcf_record {
    char const *columns, *more, *calls;
};

// 16 subjects; the SNPs at 1:0, 1:200, 1:200, 1:700, 2:50, 2:60 and 2:70 are used.
vcf_record const RECORDS[] = {
    {"1\t0\trs1\tA\tG\t.\tPASS\t.\tGT:DP", ":7", "01|201|2.101|201"},
    {"chr1\t200\trs2;x\tc\tT\t9\tlow\tDP=3\tGT", "", "0|0120h2012|.122"},
    {"1\t200\t.\tT\t.\t.\t.\t.\tGT", "", "000000000.000000"},
    {"1\t300\trs4\tA\tG,T\t.\t.\t.\tGT", "", "0000000000000000"},
    {"1\t400\trs5\tA\tAT\t.\t.\t.\tGT", "", "0101010101010101"},
    {"1\t500\trs6\tA\t<DEL>\t.\t.\t.\tGT", "", "0101010101010101"},
    {"1\t600\trs7\tA\t*\t.\t.\t.\tDP", "", "................"},
    {"1\t700\trs8\tG\tC\t.\t.\t.\tGT", "", "0120120120120120"},
    {"X\t5\trs9\tG\tC\t.\t.\t.\tGT", "", "s010s010s010s010"},
    {"2\t50\trs10\tG\tA\t.\t.\t.\tGT", "", "1122001122001122"},
    {"2\t60\trs11\tG\tA\t.\t.\t.\tGT", "", "||22|01122001|22"},
    {"2\t70\trs12\tT\tA\t.\t.\t.\tGT", "", "01h0h2h112021h01"},
};

std::string call_text(char call) {
    switch (call) {
    case '0': return "0/0";
    case '1': return "0/1";
    case '2': return "1/1";
    case '|': return "1|0";
    case 'h': return "./1";
    case 's': return "1";
    case 't': return "0/0/1";
    default: return "./.";
    }
}

// Writes v.vcf and p.txt, the first 8 subjects being controls.
void write_vcf(scratch const& files) {
    std::string vcf =
                    "##fileformat=VCFv4.2\n##FORMAT=<ID=GT,Number=1,Type=String,Description=\"\">\n"
                    "##FORMAT=<ID=DP,Number=1,Type=Integer,Description=\"\">\n"
                    "##INFO=<ID=DP,Number=1,Type=Integer,Description=\"\">\n"
                    "##FILTER=<ID=low,Description=\"\">\n##ALT=<ID=DEL,Description=\"\">\n"
                    "##contig=<ID=1>\n##contig=<ID=chr1>\n##contig=<ID=X>\n##contig=<ID=2>\n"
                    "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT",
                pheno = "#IID T\n";
    for (int i = 1; i <= 16; ++i) {
        vcf += "\tS" + std::to_string(i);
        pheno += "S" + std::to_string(i) + (i <= 8 ? " 1\n" : " 2\n");
    }
    for (vcf_record const& r : RECORDS) {
        std::string const columns = r.columns;
        std::string const format = columns.substr(columns.rfind('\t') + 1);
        vcf += "\n" + columns;
        for (char const* c = r.calls; *c != '\0'; ++c)
            vcf += "\t" + (format == "DP" ? "5" : call_text(*c) + r.more);
    }
    files.write("v.vcf", vcf + "\n");
    files.write("p.txt", pheno);
}

std::string const PLAIN = " --pheno p.txt --allow-no-covars --min-hap-copies 1 --window 2 --out ";

void expect_same_tables(scratch const& files, std::string const& vcf) {
    for (std::string const table : {".win.tsv", ".hap.tsv"})
        EXPECT_EQ(files.read("a" + table), files.read("b" + table)) << vcf;
}

} // namespace

TEST(scan_vcf, tables_are_those_of_the_bed_of_the_same_data) {
    example_study files;
    write_vcf(files);
    write_study(files,
                {{"1 rs1 0 0 G A", "0112011291011201"},
                 {"1 rs2;x 0 200 T c", "0101209201219122"},
                 {"1 . 0 200 . T", "0000000009000000"},
                 {"1 rs8 0 700 C G", "0120120120120120"},
                 {"2 rs10 0 50 A G", "1122001122001122"},
                 {"2 rs11 0 60 A G", "1122101122001122"},
                 {"2 rs12 0 70 A T", "0190929112021901"}},
                {"1", "1", "1", "1", "1", "1", "1", "1", "2", "2", "2", "2", "2", "2", "2", "2"});
    run_shell(files, "awk '{$1=0;sub(\"P\",\"S\",$2);print}' s.fam >x; mv x s.fam");
    ASSERT_EQ(files.run("quilmar-scan --bfile s" + PLAIN + "a").exit_status, 0);
    EXPECT_EQ(table(files.read("a.win.tsv")).rows.size(), 5u);
    run_shell(files, "gzip -c v.vcf >v.gz; sed '/contig/d; s/$/\\r/' v.vcf >crlf.vcf");
    std::vector<std::string> inputs = {"v.vcf", "v.gz", "crlf.vcf"};
    if (has_command("bcftools")) {
        EXPECT_EQ(files.run("for o in z b u; do bcftools view -O$o -o v.$o v.vcf; done").err, "");
        inputs.insert(inputs.end(), {"v.z", "v.b", "v.u"});
    }
    for (std::string const& input : inputs) {
        outcome const o = files.run("TMPDIR=$PWD quilmar-scan --vcf " + input + PLAIN + "b");
        ASSERT_EQ(o.exit_status, 0) << input << o.err;
        expect_same_tables(files, input);
        EXPECT_EQ(files.read("a.id"), files.read("b.id"));
        EXPECT_NE(o.err.find("7 SNPs in " + input +
                             ".\n1 record left out: not on chromosomes 1 to 22.\n"
                             "1 record left out: more than two alleles.\n"
                             "3 records left out: no SNP.\n5 half calls taken for missing.\n"),
                  std::string::npos)
            << o.err;
    }
    EXPECT_EQ(files.run("ls | grep quilmar-scan").out, "");
    // One family that matches does not hide the others; identifiers with families, as plink2 has them.
    for (std::string const preparation :
         {"sed '1s/.*/FID IID T/; 2s/^/0 /; 3,$s/^/F /' p.txt >p; o=",
          "sed -i '/#C/s/\\tS/\\t0_S/g' v.vcf; cp p.txt p; o=--id-delim",
          "sed -i '/#C/s/0_\\(S[0-9]*\\)/0.\\1.x/g' v.vcf; o='--id-delim .'"}) {
        outcome const o = files.run(preparation + "; quilmar-scan --vcf v.vcf $o --pheno p "
                                                  "--allow-no-covars --min-hap-copies 1 "
                                                  "--window 2 --out b");
        ASSERT_EQ(o.exit_status, 0) << o.err;
        expect_same_tables(files, preparation);
        EXPECT_EQ(files.read("a.id"), files.read("b.id"));
    }
    write_vcf(files);

    if (has_command("plink2")) {
        EXPECT_EQ(files
                      .run("plink2 --vcf v.vcf --vcf-half-call missing --snps-only just-acgt "
                           "--max-alleles 2 --chr 1,2 --make-bed --out s")
                      .exit_status,
                  0);
        ASSERT_EQ(files.run("quilmar-scan --bfile s" + PLAIN + "a").exit_status, 0);
        expect_same_tables(files, "plink2's .bed");
    }
}

TEST(scan_vcf, calls_of_other_ploidies_are_missing) {
    example_study files;
    write_vcf(files);
    // A lone missing allele is no ploidy.
    run_shell(files, "sed '$s@0/0@0@;$s@1/1@0/0/1@;$s@0/0@.@' v.vcf >x.vcf; "
                     "sed '$s@0/0@./.@;$s@1/1@./.@;$s@0/0@./.@' v.vcf >y.vcf");
    ASSERT_EQ(files.run("quilmar-scan --vcf y.vcf" + PLAIN + "a").exit_status, 0);
    outcome const o = files.run("quilmar-scan --vcf x.vcf" + PLAIN + "b");
    expect_same_tables(files, "x.vcf");
    EXPECT_NE(o.err.find("Warning: 2 calls of another number of alleles than two taken for "
                         "missing.\n"),
              std::string::npos)
        << o.err;
}

TEST(scan_vcf, errors) {
    struct {
        char const *prepare, *arguments;
        int status;
        char const* message;
    } const cases[] = {
        {"", "--vcf no.vcf", 3, "no.vcf: cannot be opened: No such file"},
        {"export TMPDIR=no", "--vcf v.vcf", 3,
         "no: a temporary file cannot be made there: No such file or directory. Change TMPDIR"},
        {"head -c -9 v.vcf >x", "--vcf x", 4, "x: is cut short: it has no end."},
        {"gzip -c v.vcf | head -c -9 >x", "--vcf x", 6,
         "x: its header cannot be read: it is damaged"},
        {"", "--vcf p.txt", 6, "p.txt: is no VCF, VCF.gz or BCF."},
        {"cut -f 1-8 v.vcf >x", "--vcf x", 6, "x: holds no subject."},
        {"sed 's/S2/S1/' v.vcf >x", "--vcf x", 6, "x: its header cannot be read"},
        {"sed 's/S2/F_S2/' v.vcf >x", "--vcf x --id-delim", 7,
         "x: --id-delim: 'S1' is not FID, IID and perhaps SID with a '_' between."},
        {"sed '/#C/s/\\tS/\\tF_S/g' v.vcf >x", "--vcf x", 7, "look like FID_IID: give --id-delim."},
        {"sed 's/S2/S 2/' v.vcf >x", "--vcf x", 6, "x: the name of sample 'S 2' has a blank."},
        {"grep '#' v.vcf >x", "--vcf x", 6, "none of 0 records is a SNP of two alleles"},
        {"sed 's/^[12c]/X&/' v.vcf >x", "--vcf x", 6, "none of 12 records is a SNP of two alleles"},
        {"sed '19s/GT/PL/' v.vcf >x", "--vcf x", 6, "x:19: the record has no genotypes (GT)."},
        {"sed '19s/.700/\\t3000000000/' v.vcf >x", "--vcf x", 6, "x:19: the position is no whole"},
        {"sed '11s/$/\\n/' v.vcf >x", "--vcf x", 6, "x:12: this line is no record: it is blank, a"},
        {"sed '15s/^/#/' v.vcf >x", "--vcf x", 6, "x:15: this line is no record: it is blank"},
        {"sed '19s/.G.*//' v.vcf >x", "--vcf x", 6, "x:19: this line is no record: it is blank"},
        {"sed '12s/.[^\\t]*$//' v.vcf >x", "--vcf x", 6, "x:12: the record cannot be read"},
        {"sed '21s@0/0@0/2@' v.vcf >x", "--vcf x", 6, "x:21: a genotype has allele 2, which the"},
        {"sed '21s/rs10/a b/' v.vcf >x", "--vcf x", 6, "x:21: identifier 'a b' has a blank."},
        {"sed '19s/700/99/' v.vcf >x", "--vcf x", 6,
         "x:19: position 99 comes after 200 on chromosome 1. Sort the files: plink2 --sort-vars."},
        {"", "--vcf v.vcf --bfile s", 8,
         "--vcf and --bfile, --bed, --bim, --fam exclude each other."},
    };
    example_study files;
    write_vcf(files);
    for (auto const& c : cases) {
        std::string const prepare = c.prepare[0] == '\0' ? ":" : c.prepare;
        outcome const o = files.run(prepare + "; quilmar-scan " + c.arguments + PLAIN + "t");
        EXPECT_EQ(o.exit_status, c.status) << c.prepare << o.err;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << c.prepare << "\n" << o.err;
    }
    if (has_command("bcftools")) {
        outcome const o = files.run("sed '19s/700/99/' v.vcf | bcftools view -Ob -o x; "
                                    "quilmar-scan --vcf x" +
                                    PLAIN + "t");
        EXPECT_NE(o.err.find("x: record 8: position 99 comes after 200"), std::string::npos)
            << o.err;
    }
    outcome o = files.run("(ulimit -f 0; quilmar-scan --vcf v.vcf --dry-run" + PLAIN +
                          "t; echo status $?) 2>&1 | cat");
    EXPECT_EQ(o.out,
              "Error: The temporary file of the genotypes cannot be written: File too large.\n"
              "Make room, or change TMPDIR or --out.\nstatus 5\n");
    o = files.run("quilmar-scan --vcf v.vcf --allow-no-covars");
    EXPECT_EQ(o.exit_status, 8);
    EXPECT_NE(o.err.find("--vcf needs --pheno: a VCF holds no phenotype."), std::string::npos);
}
