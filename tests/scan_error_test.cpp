// Everything that ends a run of quilmar-scan: exit status, message, and no file left behind.
#include "scan/output/output_file.h"
#include "tests/scan_support.h"

#include <algorithm>
#include <csignal>
#include <deque>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Names of files that begin with the prefix of the output.
std::string outputs(scratch const& files) {
    return run_shell(files, "ls -d t.* 2>/dev/null").out;
}

// The columns of a line.
std::vector<std::string> split(std::string const& line) {
    std::vector<std::string> columns(1);
    for (char const c : line)
        if (c == '\t')
            columns.emplace_back();
        else
            columns.back() += c;
    columns.resize(4);
    return columns;
}

} // namespace

TEST(scan_error, table) {
    std::ifstream table(QUILMAR_SOURCE "/tests/data/scan_errors.tsv");
    unsigned n = 0;
    for (std::string line; std::getline(table, line);) {
        if (line[0] == '#') continue;
        ++n;
        SCOPED_TRACE(line);
        auto const columns = split(std::regex_replace(line, std::regex("\u00b6"), "\n"));
        example_study files;
        run_shell(files, columns[3] + "\n:");
        std::string const before = outputs(files);
        outcome const o = files.scan(columns[1]);
        EXPECT_EQ(std::to_string(o.exit_status), columns[0]) << o.err;
        std::string const error = o.err.substr(std::min(o.err.find("Error: "), o.err.size()));
        EXPECT_NE(error.find(columns[2]), std::string::npos) << o.err;
        EXPECT_LE(std::count(error.begin(), error.end(), '\n'), 2) << error;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(outputs(files), before);
    }
    EXPECT_GT(n, 90u);
}

TEST(scan_error, files_that_cannot_be_opened_or_written) {
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
}

TEST(scan_error, command_line) {
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
