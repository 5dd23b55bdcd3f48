// Whole runs of quilmar-scan: filters beside plink2's, windows of every kind, tables, log, threads.
#include "tests/scan_support.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

bool has_command(std::string const& name) {
    return std::system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

// The example study with a status for everyone in x.txt, and no covariates.
std::string const PLAIN =
    "sed 's/NA$/1/' pheno.txt >x.txt; quilmar-scan --bfile study --pheno x.txt "
    "--allow-no-covars --quiet --out t ";

// A study of two chromosomes: 3 SNPs and 4, with a gap of 600 kb, long alleles, and one that has no
// second allele; 8 controls and 8 cases.
void write_small_study(scratch const& files) {
    std::string const a = "0120120120120120", b = "0012001200120012";
    std::vector<std::string> statuses(16, "1");
    std::fill(statuses.begin() + 8, statuses.end(), "2");
    write_study(files,
                {{"1 a 0 100 A G", a},
                 {"1 b 0 200 C T", b},
                 {"1 c 0 300 T G", a},
                 {"2 d 0 100 AT A", a},
                 {"2 e 0 600101 C G", b},
                 {"2 f 0 600200 A T", b},
                 {"2 g 0 600300 G C", "0000000000000000"},
                 {"X h 0 10 A C", a}},
                statuses);
}

// Runs on the small study; the columns of t.win.tsv, their values joined.
void expect_windows(std::string const& prepare, std::string const& arguments,
                    std::map<std::string, std::string> const& columns) {
    example_study files;
    write_small_study(files);
    run_shell(files, prepare + "\n:");
    outcome const o = files.run(
        "quilmar-scan --bfile s --allow-no-covars --min-hap-copies 1 --out t " + arguments);
    ASSERT_EQ(o.exit_status, 0) << o.err;
    table const windows(files.read("t.win.tsv"));
    for (auto const& [name, values] : columns)
        EXPECT_EQ(windows.column(name), values) << arguments << " | " << name;
}

} // namespace

// The SNPs and subjects that plink2 keeps.
TEST(scan_run, filters_keep_what_plink2_keeps) {
    if (!has_command("plink2")) GTEST_SKIP() << "plink2 is not installed";
    for (std::string const filters :
         {"--maf 0.2 --geno 0.015 --mind 0.02", "--maf 0.01 --mind 0.015", "--geno 0.01",
          "--maf 0.5", "--chr 22 --from-bp 30003000 --to-bp 30300000 --maf 0.3",
          "--chr 21-22 --keep list --exclude snps --mind 0.013", "--remove list --extract snps",
          "--keep ids --geno 0.02", "--remove with_header"}) {
        example_study files;
        run_shell(files,
                  "awk 'NR%2{print $1,$2}' study.fam >list; awk '{print $2}' list >ids; "
                  "(echo '#IID'; cat ids) >with_header; awk 'NR%5{print $2}' study.bim >snps");
        int const status = files.run(PLAIN + filters + " --window 1").exit_status;
        // plink2 knows identifiers without a family where families are 0 alone.
        outcome const plink =
            run_shell(files, "cp list ids; cp list with_header; plink2 --bfile study "
                             "--write-snplist --write-samples --out p " +
                                 filters);
        ASSERT_EQ(status, plink.exit_status == 0 ? 0 : 13) << filters << plink.err;
        if (status != 0) continue;
        EXPECT_EQ(run_shell(files, "cut -f 6 t.win.tsv | tail -n +2 | diff - p.snplist").out, "")
            << filters;
        EXPECT_EQ(run_shell(files, "tail -n +2 t.id >a; tail -n +2 p.id | diff a -").out, "")
            << filters;
    }
}

TEST(scan_run, bytes_do_not_depend_on_threads) {
    std::string tables[3];
    int const threads[] = {1, 2, 7};
    for (int i = 0; i < 3; ++i) {
        example_study files;
        ASSERT_EQ(files.scan("--threads " + std::to_string(threads[i])).exit_status, 0);
        for (char const* suffix : {"win.tsv", "hap.tsv", "lead.tsv", "effects.tsv", "id"})
            tables[i] += files.read("t." + std::string(suffix));
    }
    EXPECT_GT(tables[0].size(), 100000u);
    EXPECT_EQ(tables[1], tables[0]);
    EXPECT_EQ(tables[2], tables[0]);
}

// A window has the same row whatever windows it is computed with.
TEST(scan_run, bytes_do_not_depend_on_other_windows) {
    for (std::string const n : {"5", "9"}) {
        example_study files;
        run_shell(files, "awk 'NR>510&&NR%4{print $2}' study.bim >some");
        std::string const some = "--window-mind 0.1 --extract some ",
                          sliding = some + "--window " + n;
        ASSERT_EQ(files.scan(sliding).exit_status, 0);
        std::string const rows = "cut -f 1-3,5- t.win.tsv";
        run_shell(files, rows + " >all");
        ASSERT_EQ(files.scan(sliding + " --step 3").exit_status, 0);
        run_shell(files, rows + " >steps");
        EXPECT_GT(files.read("steps").size(), 1500u);
        EXPECT_EQ(run_shell(files, "grep -vxFf all steps").out, "");
        // Lists of the same SNPs do not share them.
        run_shell(files, "awk '{id[NR]=$1}END{for(i=NR-" + n +
                             "+1;i>0;--i){printf \"w%d\",i;"
                             "for(k=i;k<i+" +
                             n + ";++k)printf \" %s\",id[k];print \"\"}}' some >lists");
        ASSERT_EQ(files.scan(some + "--hap-list lists").exit_status, 0);
        EXPECT_EQ(run_shell(files, rows + " | diff - all").out, "");
    }
}

TEST(scan_run, windows) {
    expect_windows("", "--window 2",
                   {{"WINDOW", "1 2 3 4 5 "},
                    {"FIRST_ID", "a b d e f "},
                    {"LAST_ID", "b c e f g "},
                    {"CHROM", "1 1 2 2 2 "},
                    {"POS", "100 200 100 600101 600200 "},
                    {"END", "200 300 600101 600200 600300 "},
                    {"OBS_CT", "16 16 NA 16 16 "},
                    {"ERRCODE", ". . TOO_LONG . . "}});
    expect_windows("", "--window 2 --step 2 --window-kb 600.001",
                   {{"FIRST_ID", "a d f "}, {"ERRCODE", ". . . "}});
    expect_windows("", "--window 4", {{"FIRST_ID", "d "}});
    // Leading zeros change no number.
    expect_windows("", "--window 02 --chr 2 --from-bp 0100 --to-bp 0600299",
                   {{"FIRST_ID", "d e "}, {"N_SNP", "2 2 "}});
    // BED counts from 0 and leaves the last position out.
    expect_windows("printf '1 100 301 one\\n1 101 299 two\\nX 1 2 x\\n# no\\n2 5 9 none\\n' > r",
                   "-R r",
                   {{"WINDOW", "one two none "},
                    {"N_SNP", "3 1 0 "},
                    {"FIRST_ID", "a b NA "},
                    {"POS", "100 200 5 "},
                    {"END", "300 200 9 "},
                    {"ERRCODE", ". . ONE_HAPLOTYPE "}});
    expect_windows("printf 'track x\\nchr1\\t100\\t200\\tone\\nchr1\\t99\\t199\\n' > r.bed",
                   "-R r.bed",
                   {{"WINDOW", "chr1:100-199 one "}, {"FIRST_ID", "a b "}, {"LAST_ID", "a b "}});
    expect_windows("printf '2 600200 600250 G2\\n1 150 150 G1\\n1 1 9 G0\\n' > g",
                   "--gene-list g --genes G1,G2 --gene-border-kb 0.05",
                   {{"WINDOW", "G1 G2 "}, {"FIRST_ID", "a f "}, {"LAST_ID", "b g "}});
    expect_windows("echo 1 1201 1210 G > g", "--gene-list g --gene-border-kb 1.001",
                   {{"FIRST_ID", "b "}});
    // Windows that slide inside of genes, all SNPs where there are fewer, none for none.
    expect_windows("printf '1 1 300 A\\n2 600101 600300 B\\n1 200 250 C\\n2 5 6 D\\n' > g",
                   "--gene-list g --window 2",
                   {{"WINDOW", "A:1 C:1 A:2 D:1 B:1 B:2 "},
                    {"FIRST_ID", "a b b NA e f "},
                    {"N_SNP", "2 1 2 0 2 2 "}});
    expect_windows("printf '2 1 600300 A\\n' > r", "-R r --window 2 --step 2 --window-kb 0.1",
                   {{"WINDOW", "A:1 A:2 "}, {"FIRST_ID", "d f "}, {"ERRCODE", "TOO_LONG . "}});
    expect_windows("printf '* e d\\nw c a\\n* g\\n' > l", "--hap-list l",
                   {{"WINDOW", "w block1 block3 "},
                    {"FIRST_ID", "a d g "},
                    {"LAST_ID", "c e g "},
                    {"N_SNP", "2 2 1 "},
                    {"ERRCODE", ". . ONE_HAPLOTYPE "}});
    // A listed SNP that the filters leave out, or that there is not, shortens its window.
    expect_windows("printf 'w a b rs1 c\\nv rs1\\n' > l; echo b > x", "--hap-list l --exclude x",
                   {{"FIRST_ID", "a "}, {"LAST_ID", "c "}, {"N_SNP", "2 "}});
    expect_windows("echo 1 1 900 > r", "-R r --max-snps 2",
                   {{"N_SNP", "3 "}, {"ERRCODE", "TOO_MANY_SNPS "}});
}

TEST(scan_run, tables) {
    example_study files;
    write_small_study(files);
    ASSERT_EQ(files
                  .run("quilmar-scan --bfile s --allow-no-covars --min-hap-copies 1 --window 2 "
                       "--window-kb 1e4 --out t")
                  .exit_status,
              0);
    table const windows(files.read("t.win.tsv")), haplotypes(files.read("t.hap.tsv"));
    for (auto const& h : haplotypes.rows) {
        std::string const bits = h.at("BITS"), first = "ACTACAG", second = "GTGAGTC";
        std::size_t const w = std::string("0013456").at(std::stoul(h.at("WINDOW"))) - '0';
        std::string expected;
        for (std::size_t l = 0; l < 2; ++l) {
            bool const is_long = w + l == 3 && bits[l] == '1';
            expected += (w == 3 && l == 1 ? "-" : "");
            expected += is_long ? "AT" : std::string(1, (bits[l] == '1' ? first : second)[w + l]);
        }
        EXPECT_EQ(h.at("HAP"), expected) << bits << " of window " << h.at("WINDOW");
        EXPECT_NEAR(std::stod(h.at("NEG_LOG10_P")), -std::log10(std::stod(h.at("P"))), 1e-5);
        EXPECT_NEAR(std::stod(h.at("CASE_HAP_CT")), 16 * std::stod(h.at("CASE_FREQ")), 1e-4);
        EXPECT_EQ(h.at("ERRCODE"), ".");
    }
    // The best haplotype of a window is one of its rows.
    for (auto const& w : windows.rows) {
        bool is_found = false;
        double tested = 0;
        for (auto const& h : haplotypes.rows) {
            if (h.at("WINDOW") != w.at("WINDOW")) continue;
            ++tested;
            is_found = is_found || (h.at("HAP") == w.at("TOP_HAP") && h.at("P") == w.at("TOP_P") &&
                                    h.at("Z") == w.at("TOP_Z") && h.at("FREQ") == w.at("TOP_FREQ"));
        }
        EXPECT_TRUE(is_found || w.at("ERRCODE") != ".") << w.at("WINDOW");
        if (w.at("ERRCODE") != ".") continue;
        EXPECT_EQ(std::stod(w.at("N_HAP")), tested);
        EXPECT_NEAR(std::stod(w.at("TOP_P_BONF")), std::min(1.0, tested * std::stod(w.at("TOP_P"))),
                    1e-5);
    }
    // --pfilter takes haplotypes of windows above it out, and no windows.
    std::string const all = files.read("t.win.tsv");
    files.run(
        "quilmar-scan --bfile s --allow-no-covars --min-hap-copies 1 --window 2 --window-kb 1e4 "
        "--pfilter 0 --out t");
    EXPECT_EQ(files.read("t.win.tsv"), all);
    EXPECT_EQ(table(files.read("t.hap.tsv")).rows.size(), 0u);
}

// Phenotypes and covariates in every accepted form give the same tables.
TEST(scan_run, forms_of_the_input) {
    example_study files;
    ASSERT_EQ(files.scan("--covar-name age,PC1-PC3,centre").exit_status, 0);
    std::string const expected = files.read("t.win.tsv") + files.read("t.id");
    struct {
        char const *prepare, *arguments;
    } const cases[] = {
        {"", "--pheno-name T2D --covar-name age,PC1,PC2,PC3,centre"},
        {"", "--covar-name age PC1 PC2-PC3 centre,age"},
        {"gzip pheno.txt covar.txt; mv pheno.txt.gz p; mv covar.txt.gz c", "--pheno p --covar c"},
        {"gzip study.fam study.bim", "--fam study.fam.gz --bim study.bim.gz"},
        {"sed -i 's/\\t/,/g' pheno.txt; sed -i 's/\\t/ , /g;s/$/\\r/' covar.txt", ""},
        {"cut -f 2- covar.txt | tac | awk '{a[NR]=$0}END{print a[NR];for(i=1;i<NR;++i)print a[i]}' "
         ">c",
         "--covar c"},
        {"cut -f 2- pheno.txt | sed '1s/^/#/' >p", "--pheno p"},
        {"awk 'NR>9{$1=NR%3?0:$2}{print}' OFS='\\t' pheno.txt >p", "--pheno p"},
        {"awk 'NR>401{$1=\"G\"}{print}' OFS='\\t' pheno.txt >p", "--pheno p"},
        {"cut -f 1,2,5-8 covar.txt >pcs; cut -f 2-4,9 covar.txt | sed 's/west/10/; s/south/9.0/; "
         "s/north/-1/' >clin",
         "--covar clin pcs --covar-category centre"},
        {"sed 's/2$/1x/;s/1$/0/;s/1x$/1/;s/NA$/-9/;1s/.*/FID IID T0/' pheno.txt >p",
         "--pheno p --1"},
        {"awk 'NR>1{print $3}' pheno.txt | sed 's/NA/0/' | paste -d' ' study.fam - | "
         "awk '{print $1,$2,$3,$4,$5,$7}' >f",
         "--fam f --pheno f2"},
        {"awk '{printf \"\\357\\273\\277%s\", $0; exit}' pheno.txt >p; echo >>p; tail -n +2 "
         "pheno.txt >>p",
         "--pheno p"},
        {"printf 'FID IID x\\nF9999 P9999 1\\n' >extra; sed 's/^F1\\t/F1\\t/;$aF9999\\tP9999\\t1' "
         "pheno.txt >p",
         "--pheno p"},
        // Constant and dependent columns fall out.
        {"awk 'BEGIN{OFS=\"\\t\"}{print $0,(NR==1?\"twice\":($3==\"NA\"?\"NA\":2*$3+1)),"
         "(NR==1?\"same\":5)}' covar.txt >c",
         "--covar c --covar-name age,PC1-PC3,centre,twice,same"},
    };
    for (auto const& c : cases) {
        example_study copy;
        run_shell(copy, std::string(c.prepare) + "\n:");
        std::string arguments = c.arguments;
        if (arguments.find("--covar-name") == std::string::npos)
            arguments += " --covar-name age,PC1-PC3,centre";
        std::size_t const from_fam = arguments.find("--pheno f2");
        outcome const o =
            from_fam == std::string::npos
                ? copy.scan(arguments)
                : copy.run("quilmar-scan --bfile study --fam f --covar covar.txt --covar-name "
                           "age,PC1-PC3,centre --out t");
        EXPECT_EQ(o.exit_status, 0) << c.prepare << o.err;
        EXPECT_TRUE(copy.read("t.win.tsv") + copy.read("t.id") == expected)
            << c.prepare << " | " << arguments << o.err;
    }
}

TEST(scan_run, log_and_messages) {
    example_study files;
    outcome const o = files.scan("--covar-name age,centre --keep study.fam --threads 1");
    ASSERT_EQ(o.exit_status, 0);
    std::string const log = files.read("t.log");
    for (char const* line :
         {"quilmar-scan 2.0 on ", "  --covar-name age,centre\n", "  --window 5\n",
          "  --threads 1\n", "800 subjects in study.fam, 600 SNPs in study.bim.\n",
          "6 subjects left out: no phenotype.\n", "7 subjects left out: a covariate is missing.\n",
          "Phenotype T2D: 395 cases, 392 controls.\n",
          "Categories of centre: west 273, south 256, north 258.\n",
          "Null model: covariate, log odds ratio of a unit, standard error\n  age 0.0",
          "\n  centre=north ", "592 windows of 600 SNPs.\n", "Lambda 1.", "Smallest P ",
          "chromosome 22:", "Bonferroni level for them: 8.44595e-05.\n", " s, at most "})
        EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
    EXPECT_NE(o.err.find("592 of 592 windows done, 0 failed, 0 s left\n"), std::string::npos);
    EXPECT_EQ(o.out, "");
    // Lambda and the smallest P are those of the table.
    // Of chi-square with 1 to 18 degrees of freedom: R's qchisq.
    double const medians[] = {0.4549364, 1.386294, 2.365974, 3.356694, 4.35146,  5.348121,
                              6.345811,  7.344121, 8.342833, 9.341818, 10.341,   11.34032,
                              12.33976,  13.33927, 14.33886, 15.3385,  16.33818, 17.3379};
    std::vector<double> inflations;
    double smallest = 1;
    for (auto const& w : table(files.read("t.win.tsv")).rows) {
        smallest = std::min(smallest, std::stod(w.at("P")));
        inflations.push_back(std::stod(w.at("CHISQ")) / medians[std::stoul(w.at("DF")) - 1]);
    }
    std::sort(inflations.begin(), inflations.end());
    EXPECT_NEAR(std::stod(log.substr(log.find("Lambda ") + 7)),
                (inflations[295] + inflations[296]) / 2, 6e-4);
    EXPECT_NEAR(std::stod(log.substr(log.find("Smallest P ") + 11)) / smallest, 1, 1e-6);
    // What --quiet hides stands in the log all the same.
    outcome const quiet = files.scan("--covar-name age,age --pheno pheno.txt --quiet");
    EXPECT_EQ(quiet.err, "");
    // Of 20 controls b misses 2 and c 3. What is counted goes through the kept parts.
    std::string const snp = "0120120120120120120101201201201201201201";
    std::vector<std::string> statuses(40, "1");
    std::fill(statuses.begin() + 20, statuses.end(), "2");
    write_study(files,
                {{"1 a 0 100 A G", snp},
                 {"1 b 0 200 A G", "99" + snp.substr(2)},
                 {"1 c 0 300 A G", "999" + snp.substr(3)}},
                statuses);
    outcome const unequal =
        files.run("quilmar-scan --bfile s --allow-no-covars --window 1 --resume --out u");
    EXPECT_NE(unequal.err.find("Warning: 1 window with over a tenth more of one group left out"),
              std::string::npos)
        << unequal.err;
    // Warnings.
    run_shell(files, "head -n 300 pheno.txt >p; awk '{print $0,(NR==1?\"same\":5)}' covar.txt >c");
    outcome const few = files.scan("--pheno p --covar c --covar-name age,same");
    EXPECT_NE(few.err.find("Warning: p: has only 299 of 800 subjects. Is it the right file?"),
              std::string::npos)
        << few.err;
    EXPECT_NE(few.err.find("Warning: Covariates dropped, because they are constant: same."),
              std::string::npos);
    // Windows that are inflated, all at one place; 1,000 draw the warning, below 100 there is no lambda.
    for (auto const& [n, lambda, warns] :
         {std::tuple("1000", true, true), {"999", true, false}, {"99", false, false}}) {
        run_shell(files, "awk 'BEGIN{for(i=0;i<" + std::string(n) +
                             ";++i)print 22,30453000,30465000,i}' >r");
        std::string const said = files.scan("-R r --effects none").err;
        EXPECT_EQ(said.find("\nLambda 7.") != said.npos, lambda) << n << said;
        EXPECT_EQ(said.find("Confounding? Give principal components") != said.npos, warns) << n;
    }
    // A dry run makes no file.
    example_study dry;
    outcome const d = dry.scan("--dry-run");
    EXPECT_EQ(d.exit_status, 0);
    EXPECT_NE(d.err.find("592 windows of 600 SNPs.\nMemory: at most about "), std::string::npos)
        << d.err;
    EXPECT_EQ(run_shell(dry, "ls t.*").out, "");
}

TEST(scan_run, help_and_version) {
    scratch files;
    for (std::string const option : {"-h", "--help", "--version", "--bfile x --help"}) {
        outcome const o = run_shell(files, QUILMAR_SCAN_PROGRAM " " + option);
        EXPECT_EQ(o.exit_status, 0) << option;
        EXPECT_EQ(o.err, "");
        EXPECT_NE(o.out, "");
    }
    EXPECT_EQ(run_shell(files, QUILMAR_SCAN_PROGRAM " --version").out, "quilmar-scan 2.0\n");
}
