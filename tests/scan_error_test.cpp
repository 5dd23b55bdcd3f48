// Everything that ends a run of quilmar-scan: exit status, message, and no file left behind.
#include "scan/output/output_file.h"
#include "tests/scan_support.h"

#include <algorithm>
#include <csignal>
#include <deque>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct error_case {
    char const *prepare, *arguments; // shell commands before, arguments after those of `scan`
    int status;
    char const* message;
};

// Names of files that begin with the prefix of the output.
std::string outputs(scratch const& files) {
    return run_shell(files, "ls -d t.* 2>/dev/null").out;
}

void expect_errors(std::vector<error_case> const& cases) {
    for (error_case const& c : cases) {
        example_study files;
        run_shell(files, std::string(c.prepare) + "\n:");
        std::string const before = outputs(files);
        outcome const o = files.scan(c.arguments);
        EXPECT_EQ(o.exit_status, c.status) << c.prepare << " | " << c.arguments << "\n" << o.err;
        std::string const error = o.err.substr(std::min(o.err.find("Error: "), o.err.size()));
        EXPECT_NE(error.find(c.message), std::string::npos) << c.arguments << "\n" << o.err;
        EXPECT_LE(std::count(error.begin(), error.end(), '\n'), 2) << error;
        EXPECT_EQ(o.out, "") << c.arguments;
        EXPECT_EQ(outputs(files), before) << c.arguments;
    }
}

} // namespace

TEST(scan_error, files_that_cannot_be_opened_read_or_written) {
    expect_errors({
        {"", "--bed no.bed", 3,
         "no.bed: cannot be opened: No such file or directory. Check the path."},
        {"", "--bim no.bim", 3, "no.bim: cannot be opened"},
        {"", "--fam .", 3, ".: cannot be opened: it is a folder."},
        {"mkfifo f", "--bed f", 3, "f: is no regular file"},
        {"", "--keep no.txt", 3, "no.txt: cannot be opened"},
        {"", "--extract no.txt", 3, "no.txt: cannot be opened"},
        {"", "-R no.txt", 3, "no.txt: cannot be opened"},
        {"", "--hap-list no.txt", 3, "no.txt: cannot be opened"},
        {"mkdir t.hap.tsv", "", 3, "t.hap.tsv: cannot be made: it is a folder. Change --out."},
        {"cp pheno.txt t.id", "--keep t.id", 3, "t.id: would replace an input of this run."},
        {"gzip -c study.bim | head -c 3000 > b.gz", "--bim b.gz", 4, "damaged or cut short"},
        {"gzip -c study.bim > b.gz; printf x | dd of=b.gz bs=1 seek=2000 conv=notrunc",
         "--bim b.gz", 4, "damaged or cut short"},
    });
    example_study files;
    outcome o = files.run("quilmar-scan --bfile study --pheno pheno.txt --allow-no-covars "
                          "--out no/where");
    EXPECT_EQ(o.exit_status, 3);
    EXPECT_NE(o.err.find("no/where.win.tsv: cannot be made: No such file"), std::string::npos);
    // Nothing was computed before.
    EXPECT_EQ(o.err.find("windows done"), std::string::npos);
    o = files.run("ulimit -f 1; echo old >t.win.tsv; quilmar-scan --bfile study --pheno pheno.txt "
                  "--allow-no-covars --out t");
    EXPECT_EQ(o.exit_status, 5);
    EXPECT_NE(o.err.find(".tsv: cannot be written: File too large."), std::string::npos);
    EXPECT_EQ(outputs(files), "t.win.tsv\n");
    EXPECT_EQ(files.read("t.win.tsv"), "old\n");
    EXPECT_EQ(files.run("quilmar-scan --help >/dev/full").exit_status, 5);
    // However many temporary files there are, none stays.
    for (std::deque<scan::output_file> many; many.size() < 100;)
        many.emplace_back(files.file("t." + std::to_string(many.size())),
                          std::vector<std::string>{});
    EXPECT_EQ(outputs(files), "t.win.tsv\n");
}

// A run after one that has made all tables, whatever happens to it.
TEST(scan_error, publishing) {
    bool const mounts = run_shell(scratch(), "unshare -rm true").exit_status == 0;
    // While a run waits for its phenotype: its inputs have been looked at by then.
    std::string const meanwhile = "(while ! ls t.log.tmp* >/dev/null 2>&1; do :; done; ",
                      piped = "; cat pheno.txt) | ", mount = "mount --bind t.hap.tsv t.hap.tsv; ",
                      scan = "quilmar-scan --bfile study --pheno /dev/stdin --allow-no-covars "
                             "--quiet --effects none --chr 21 --out t 2>&1; echo $?";
    struct {
        std::string command, out, same; // same: files that the run leaves as they are
    } const cases[] = {
        {"umask 027; " + meanwhile + ":" + piped + scan + "; stat -c %a t.id", "0\n640\n", ""},
        {meanwhile + "mkdir t.new; ln -sfT t.new t.hap.tsv" + piped + scan,
         "Error: t.hap.tsv: cannot be made: it is a folder. Change --out.\n3\n",
         "effects.tsv id lead.tsv log win.tsv "},
        {meanwhile + "echo >>study.bim" + piped + scan,
         "Error: An input was changed during the run: the file of --bim was SIZE and is SIZE.\n"
         "No table was made; run again.\n4\n",
         "effects.tsv hap.tsv id lead.tsv log win.tsv "},
        {mount + "cat pheno.txt | " + scan,
         "Error: t.hap.tsv: cannot be written: Device or resource busy.\n"
         "Of this run are t.id, t.lead.tsv alone; do not use them with older ones.\n5\n",
         "hap.tsv log win.tsv "},
    };
    for (auto const& c : cases) {
        bool const needs_mount = c.command.find(mount) == 0;
        if (needs_mount && !mounts) continue; // not permitted here
        example_study files;
        ASSERT_EQ(files.scan("").exit_status, 0);
        run_shell(files, "mkdir old; cp -p t.* old");
        files.write("run", c.command);
        outcome const o = files.run(std::string(needs_mount ? "unshare -rm " : "") +
                                    "sh run | sed 's/[0-9]* bytes of [-0-9: .]*[0-9]/SIZE/g'");
        EXPECT_EQ(o.out, c.out);
        EXPECT_EQ(
            run_shell(files, "for f in t.*; do cmp -s $f old/$f && printf '%s ' ${f#t.}; done").out,
            c.same)
            << c.command;
        EXPECT_EQ(files.list(".").find(".tmp"), std::string::npos);
        EXPECT_EQ(files.has("t.effects.tsv"), !c.same.empty() && !needs_mount);
        EXPECT_EQ(files.read("t.log").find("t.effects.tsv is of an earlier run and removed") !=
                      std::string::npos,
                  c.same.empty());
    }
    // A run without tables makes no file, but says where they cannot be made.
    expect_errors({{"mkdir t.id", "--dry-run", 3, "t.id: cannot be made: it is a folder."},
                   {"", "--dry-run --out no/t", 3, "no/t.win.tsv: cannot be made: No such file"}});
}

TEST(scan_error, malformed_files) {
    expect_errors({
        {"head -c 1000 study.bed > x.bed", "--bed x.bed", 6,
         "x.bed: has 1000 bytes, but 600 SNPs of the .bim and 800 subjects of the .fam take "
         "120003."},
        {"(cat study.bed; echo) > x.bed", "--bed x.bed", 6, "x.bed: has 120004 bytes"},
        {"(printf 'l\\033\\000'; tail -c +4 study.bed) > x.bed", "--bed x.bed", 6,
         "stored subject by subject"},
        {"", "--bed study.bim", 6, "study.bim: is no PLINK 1 .bed"},
        {": > x.bed", "--bed x.bed", 6, "x.bed: is no PLINK 1 .bed"},
        {"head -c 2 study.bed > x.bed", "--bed x.bed", 6, "x.bed: is no PLINK 1 .bed"},
        {": > x.bim", "--bim x.bim", 6, "x.bim:0: holds no SNP"},
        {"sed '3s/\\t0\\t/\\t/' study.bim > x.bim", "--bim x.bim", 6,
         "x.bim:3: 5 fields where a .bim has 6"},
        {"sed '3s/30006000/3e7/' study.bim > x.bim", "--bim x.bim", 6,
         "x.bim:3: position '3e7' is no whole number."},
        {"sed '4s/30009000/29000000/' study.bim > x.bim", "--bim x.bim", 6,
         "x.bim:4: position 29000000 comes after 30006000 on chromosome 21."},
        {"sed '600s/^22/21/' study.bim > x.bim", "--bim x.bim", 6,
         "x.bim:600: chromosome 21 comes again after another one."},
        {"", "--fam pheno.txt", 6, "pheno.txt:1: 3 fields where a .fam has 6"},
        {"sed '5s/.*/F1 P1 0 0 1 1/' study.fam > x.fam", "--fam x.fam", 6,
         "x.fam:5: subject F1 P1 is on line 1 already."},
        {"printf 'a\\000b\\n' > x", "--fam x", 6, "x:1: holds a zero byte: this is no text file."},
        {"head -c 20000000 /dev/zero | tr '\\0' a > x", "--fam x", 6,
         "x:1: the line has more than 16 MiB"},
        {"sed '7s/\\t[12]$/\\t27.3/' pheno.txt > x", "--pheno x", 6,
         "x:7: '27.3' is no disease status: 1 is a control and 2 a case (with --1: 0 and 1).\n"
         "quilmar-scan tests cases against controls; it does not test quantitative traits."},
        {"", "--1", 6, "'2' is no disease status: with --1, 0 is a control and 1 a case."},
        {"sed '1d' pheno.txt > x", "--pheno x", 6,
         "x:1: the header line must begin with FID IID, #FID IID, IID or #IID, not with 'F1'."},
        {"sed '7s/$/ 3/' pheno.txt > x", "--pheno x", 6, "x:7: 4 columns where the header has 3."},
        {"(cat pheno.txt; tail -n 1 pheno.txt) > x", "--pheno x", 6,
         "x:802: subject F800 P800 is on line 801 already."},
        {"sed '7s/[0-9][0-9]*/old/3' covar.txt > x", "--covar x", 6,
         "x:7: 'old' stands among the numbers of covariate age."},
        {"sed '7s/[a-z]*$/3/' covar.txt > x", "--covar x --covar-name centre", 6,
         "x:7: '3' stands among the words of covariate centre, as '"},
        {"sed '1s/sex/age/' covar.txt > x", "--covar x", 6, "x:1: two columns are named 'age'."},
        {"echo 21 30000000 > x", "-R x", 6, "x:1: 2 fields where a region has 3 or 4"},
        {"echo 21 one 30000000 > x", "-R x", 6, "x:1: 'one 30000000' are no positions."},
        {"echo 21 30000000 29000000 > x", "-R x", 6,
         "x:1: positions 30000000 to 29000000 are no region."},
        {"echo 21 5 5 > x.bed", "-R x.bed", 6, "x.bed:1: positions 5 to 5 are no region."},
        {"echo w > x", "--hap-list x", 6, "x:1: names no SNP."},
        {"echo w snp21_1 snp21_1 > x", "--hap-list x", 6, "x:1: window w has a SNP twice."},
    });
}

TEST(scan_error, inputs_that_do_not_fit_together) {
    expect_errors({
        {"sed 's/F/G/;s/P/Q/' pheno.txt > x; sed -i '1s/.*/FID IID T2D/' x", "--pheno x", 7,
         "x: none of its subjects is in study.fam: 'G1 Q1', 'G2 Q2', 'G3 Q3'\n"
         "there 'F1 P1', 'F2 P2', 'F3 P3'. FID and IID must be the same"},
        {"awk 'NR>300{$1=\"G\"}1' pheno.txt > x", "--pheno x", 7,
         "x: most of its subjects have another FID in study.fam: 'G P300', 'G P301', 'G P302'\n"
         "there 'F300 P300', 'F301 P301', 'F302 P302'. If they are the same, take the column FID"},
        {"cp covar.txt x", "--covar covar.txt x", 7,
         "covar.txt and x: both have a column 'age'. Rename one, or choose others by --covar-name"},
        {"cut -f 1-3 covar.txt > x", "--covar pheno.txt x --covar-name age,PC1", 7,
         "pheno.txt, x: none has a column 'PC1'."},
        {"", "--covar-category sex", 7, "--covar-category: no covariate 'sex' is chosen."},
        {"head -n 1 covar.txt > x", "--covar x", 7,
         "x: none of its subjects is in study.fam: it has none"},
        {"echo A B > x", "--keep x", 7, "x: none of its subjects is in study.fam: 'A B'"},
        {"", "--pheno-name BMI", 7, "pheno.txt: has no column 'BMI'. Its columns are: T2D."},
        {"", "--covar-name age,PC9", 7,
         "covar.txt: has no column 'PC9'. Its columns are: age, sex, PC1, PC2, PC3, PC4, centre."},
        {"", "--covar-name PC4-PC1", 7, "column 'PC1' of PC4-PC1 stands before 'PC4'."},
        {"", "--pheno covar.txt", 7,
         "covar.txt: has 7 columns of phenotypes. Choose one by --pheno-name."},
        {"sed 's/1$/0/;s/2$/1/;1s/.*/FID IID T2D/' pheno.txt > x", "--pheno x", 7,
         "x: holds only 0 and 1, but 1 is a control and 2 a case.\n"
         "If 0 is a control and 1 a case, give --1."},
        {"awk 'NR==1||$3==1' pheno.txt > x", "--pheno x", 7,
         "Phenotype T2D: all 392 subjects that are left are controls; a test needs both groups."},
        {"awk 'NR==1{print;next}{$3=7;print}' covar.txt > x", "--covar x --covar-name age", 7,
         "x: no covariate is left."},
        {"awk 'NR==1{print \"IID\",\"c\";next}{print $2,$3}' pheno.txt > x",
         "--covar x --covar-name c", 7, "ovariate c"},
        {"awk 'BEGIN{for(i=0;i<801;++i){printf i?i:\"IID\";for(k=0;k<7;++k)"
         "printf i?\" u\"i*(k+9)%199:\" c\"k;print \"\"}}' | sed 's/^[0-9]/P&/' > x",
         "--covar x --covar-name c0-c6", 7,
         "The covariates make 1386 columns, where 1000 are the most. Choose fewer, or categories"},
        {"", "--gene-list genes.txt --genes GENE1,GENE9", 7, "genes.txt: has no gene 'GENE9'"},
        {"printf 'w rs1 rs2\\nv rs3\\n' > x", "--hap-list x", 7,
         "x:1: SNP rs1 of window w is not in study.bim on chromosomes 1 to 22, nor is any other of "
         "the list."},
        {"echo w snp21_1 snp22_1 > x", "--hap-list x", 7,
         "x:1: the SNPs of window w are on several chromosomes."},
        {"sed 's/snp21_2\\t/snp21_1\\t/' study.bim > x.bim; echo w snp21_1 > x",
         "--bim x.bim --hap-list x", 7, "x:1: SNP snp21_1 of window w is several times in x.bim."},
    });
}

TEST(scan_error, command_line) {
    expect_errors({
        {"", "--winow 3", 8,
         "--winow is no option. The nearest one is --window.\nquilmar-scan --help lists the "
         "options."},
        {"", "--covar-nam=age", 8, "--covar-nam is no option. The nearest one is --covar-name."},
        {"", "--foobar 1", 8, "--foobar is no option.\nquilmar-scan --help"},
        {"", "-x", 8, "-x is no option.\n"},
        {"", "--bfile study.bed", 8,
         "--bfile study.bed: give the prefix of the three files, --bfile study."},
        {"", "study", 8, "'study' belongs to no option."},
        {"", "--maf 0.6", 8, "--maf: '0.6' is no number, 0 to 0.5."},
        {"", "--maf nan", 8, "--maf: 'nan' is no number"},
        {"", "--window 2.5", 8, "--window: '2.5' is no whole number, 1 to 20."},
        {"", "--window -3", 8, "--window: '-3' is no whole number"},
        {"", "--window", 8, "--window"},
        {"", "--window 3 --window 4", 8, "--window"},
        {"", "--keep ''", 8, "--keep has an empty value: is a variable unset?"},
        {"", "--threads 0", 8, "--threads: '0' is no whole number, 1 to 1024."},
        {"", "--window 15", 8, "--window 15 is above --max-snps 12: give --max-snps 15 as well."},
        {"", "--chr X", 8, "--chr: 'X' is no chromosome from 1 to 22 and no range of them."},
        {"", "--chr 4-2", 8, "--chr: '4-2' is no chromosome"},
        {"", "--from-bp 5", 8, "--from-bp and --to-bp need --chr with one chromosome."},
        {"", "--chr 21,22 --to-bp 5", 8, "--from-bp and --to-bp need --chr with one chromosome."},
        {"", "--chr 21 --from-bp 5 --to-bp 4", 8, "--from-bp is above --to-bp."},
        {"", "-R genes.txt --gene-list genes.txt", 8,
         "--regions-file and --gene-list exclude each other."},
        {"", "--hap-list haplotypes.txt --step 2", 8, "--hap-list and --step exclude each other."},
        {"", "-R genes.txt --window-kb 9", 8, "--window-kb with --regions-file needs --window."},
        {"", "--genes GENE1", 8, "--genes needs --gene-list."},
        {"", "--id-delim", 8, "--id-delim needs --vcf."},
        {"", "--gene-border-kb 1", 8, "--gene-border-kb needs --gene-list."},
        {"", "--parallel 4 3", 8, "--parallel: there is no part 4 of 3."},
        {"", "--parallel 0 3", 8, "--parallel: '0' is no whole number, 1 to "},
        {"", "--parallel 1 x", 8, "--parallel: 'x' is no whole number, 1 to "},
        {"", "--allow-no-covars", 8, "--covar and --allow-no-covars exclude each other."},
        {"mkdir t.d", "--out t.d/", 8, "--out names a folder: add a prefix to it."},
    });
    struct {
        char const *line, *message;
    } const cases[] = {
        {"", "No genotypes: give --bfile, --vcf, or --bed, --bim and --fam."},
        {"--bed study.bed --bim study.bim --allow-no-covars", "No genotypes"},
        {"--bfile study", "No covariates: give --covar, or --allow-no-covars if the test shall be"},
        {"--bfile study --allow-no-covars --hap-list x --window 2", "--hap-list and --window excl"},
        {"--bfile study --allow-no-covars --parallel 2", "--parallel: 2 required"},
        {"--bfile study --allow-no-covars --pheno-name T2D", "--pheno-name needs --pheno."},
        {"--bfile study --allow-no-covars --covar-name age", "--covar-name needs --covar."},
    };
    example_study files;
    for (auto const& c : cases) {
        outcome const o = files.run(std::string("quilmar-scan ") + c.line);
        EXPECT_EQ(o.exit_status, 8) << c.line;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
    }
}

TEST(scan_error, nothing_is_left) {
    expect_errors({
        {"", "--chr 1-20", 13, "No SNP is left by the filters."},
        {"", "--geno 0", 13, "No SNP is left by the filters."},
        {"", "--remove study.fam", 13, "No subject is left by the filters."},
        {"", "--mind 0", 13, "No subject is left by the filters."},
        {"echo snp21_1 snp22_1 > x", "--extract x", 13, "There is no window"},
        {": > x", "-R x", 13, "There is no window"},
        {"sed 's/[12]$/NA/;1s/.*/FID IID T2D/' pheno.txt > x", "--pheno x", 13,
         "No subject is left that has phenotype T2D and all covariates: 800 have no phenotype, 0 "
         "lack"},
    });
}

TEST(scan_error, fam_without_phenotype) {
    outcome const o = example_study().run("quilmar-scan --bfile study --allow-no-covars --out t");
    EXPECT_EQ(o.exit_status, 13);
    EXPECT_NE(o.err.find("study.fam: its column 6 holds no phenotype. Give --pheno."),
              std::string::npos);
}

// Out of memory: the status wherever it happens, and nothing half done.
TEST(scan_error, memory) {
#ifdef QUILMAR_SANITIZED
    GTEST_SKIP() << "the sanitizers need memory of their own";
#endif
    example_study files;
    run_shell(files, "head -c 12000000 /dev/zero | tr '\\0' a > x");
    // Of 10 heterozygous and 10 missing SNPs there are 2^19 pairs of sides with 2^10 haplotypes
    // each.
    std::vector<snp_text> snps;
    for (int l = 0; l < 20; ++l)
        snps.push_back({"1 s" + std::to_string(l) + " 0 5 A G", std::string(20, "19"[l % 2])});
    std::vector<std::string> statuses(10, "1");
    statuses.resize(20, "2");
    write_study(files, snps, statuses);
    std::string const study = "--bfile study --pheno pheno.txt --threads ";
    struct {
        std::string limit, arguments;
        int status;
        std::string message;
    } const cases[] = {
        {"-v 20000", study + "1 --fam x", 2, "Error: Out of memory."},
        {"-v 60000; ulimit -t 3", study + "2", 0, "592 of 592 windows done"},
        {"-v 900000", "--bfile s --window 20 --max-snps 20", 0, " failed: TOO_MANY_PHASES"},
        {"-v 60000", "--bfile s --window 20 --max-snps 20", 2, "more, but machine, job and ulimit"},
    };
    for (auto const& c : cases) {
        outcome const o = files.run("ulimit " + c.limit +
                                    "; quilmar-scan --allow-no-covars --out t " + c.arguments);
        EXPECT_EQ(o.exit_status, c.status) << c.arguments << o.err;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
        EXPECT_EQ(outputs(files).empty(), c.status != 0);
        run_shell(files, "rm -f t.*");
    }
}

// A signal ends the run with 128 + its number. The tables of an earlier run stay with their log; where
// there are none, the log is that of the run.
TEST(scan_error, signals) {
    for (int const number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        example_study files;
        bool const has_tables = number != SIGTERM;
        if (has_tables) files.write("t.win.tsv", "old\n");
        pid_t const pid = fork();
        if (pid == 0) {
            signal(number, SIG_DFL);
            if (chdir(files.path.c_str()) == 0)
                execl(QUILMAR_SCAN_PROGRAM, "quilmar-scan", "--bfile", "study", "--pheno",
                      "pheno.txt", "--allow-no-covars", "--window", "9", "--quiet", "--out", "t",
                      nullptr);
            _exit(127);
        }
        for (int i = 0; i < 20000 && files.list(".").find("t.log.tmp") == std::string::npos; ++i)
            usleep(1000);
        kill(pid, number);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 128 + number) << status;
        EXPECT_EQ(outputs(files), has_tables ? "t.win.tsv\n" : "t.log\n");
        std::string const kept = files.read(has_tables ? "t.win.tsv" : "t.log");
        if (has_tables)
            EXPECT_EQ(kept, "old\n");
        else
            EXPECT_NE(kept.find("\nEnded by signal 15: Terminated. No table was made.\n"),
                      std::string::npos)
                << kept;
    }
}
