// Runs cut into parts, and runs that were ended and taken up again: the same bytes as the whole run.
#include "scan/parts/part_file.h"
#include "tests/scan_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

std::string tables(scratch const& files) {
    return files.read("t.win.tsv") + files.read("t.hap.tsv") + files.read("t.lead.tsv") +
           files.read("t.effects.tsv") + files.read("t.id");
}

// Tables and log of a run that nothing stops.
std::pair<std::string, std::string> whole_run(std::string const& arguments) {
    example_study files;
    EXPECT_EQ(files.scan("--quiet " + arguments).exit_status, 0);
    return {tables(files), files.read("t.log")};
}

// Example study with a run to t whose parts are whole but for the tables, which found no room.
// 296 windows make 74 chunks, each a part of its own; those from 30 on are removed.
struct unfinished_study : example_study {
    unfinished_study() {
        outcome const o = run("ulimit -f 40; quilmar-scan --bfile study --pheno pheno.txt --covar "
                              "covar.txt --covar-name age,PC1 --chr 22 --quiet --resume --out t");
        EXPECT_EQ(o.exit_status, 5);
        EXPECT_NE(o.err.find("cannot be written: File too large."), std::string::npos) << o.err;
        EXPECT_EQ(run_shell(*this, "rm t.parts/0[3-7]*; ls t.parts | tr '\\n' ' '").out,
                  "001 002 003 004 005 006 007 008 009 010 011 012 013 014 015 016 017 018 019 020 "
                  "021 022 023 024 025 026 027 028 029 record ");
    }
    outcome resume(std::string const& arguments = "") const {
        return scan("--chr 22 --resume " + arguments);
    }
};

std::string const TAKEN = "t.parts: 29 (1-29) of 74 parts taken.\n";

// 60 windows that take their time, each a part.
std::string const SLOW = "--chr 22 --to-bp 30216000 --window 14 --max-snps 14 ";

// Example study with a run of them to t that the signal ended when its first part was there. Returns
// how many there are.
unsigned long interrupt(example_study const& files, int number) {
    std::string const run = "exec " QUILMAR_SCAN_PROGRAM
                            " --bfile study --pheno pheno.txt --covar covar.txt --covar-name "
                            "age,PC1 --threads 1 --quiet --resume --out t " +
                            SLOW;
    pid_t const pid = fork();
    if (pid == 0) {
        signal(number, SIG_DFL);
        if (chdir(files.path.c_str()) == 0) execl("/bin/sh", "sh", "-c", run.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 120000 && !files.has("t.parts/001"); ++i)
        usleep(1000);
    kill(pid, number);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == number
                                    : WEXITSTATUS(status) == 128 + number)
        << status;
    return std::stoul(run_shell(files, "ls t.parts | grep -c '^[0-9]*$'").out);
}

} // namespace

TEST(scan_parts, concatenated_they_are_the_whole_run_for_all_threads) {
    struct {
        char const* arguments;
        unsigned n_parts, threads;
    } const cases[] = {{"", 1, 2},
                       {"", 2, 1},
                       {"", 3, 2},
                       {"", 7, 1},
                       // 5 windows of one chunk each.
                       {"--chr 22 --to-bp 30024000", 12, 2}};
    for (auto const& c : cases) {
        example_study files;
        std::string const arguments = std::string(c.arguments) + " --effects 1e-4";
        ASSERT_EQ(files.scan(arguments).exit_status, 0);
        std::string const of = "of" + std::to_string(c.n_parts), id = files.read("t.id");
        unsigned end = 0;
        for (unsigned k = 1; k <= c.n_parts; ++k) {
            std::string const number = std::to_string(k), pad(c.n_parts > 9 && k < 10, '0');
            outcome const o =
                files.scan("--parallel " + number + " " + std::to_string(c.n_parts) +
                           " --threads " + std::to_string(c.threads) + " " + arguments);
            EXPECT_EQ(o.exit_status, 0) << o.err;
            std::string const prefix = "t." + pad + number + of,
                              part = "Part " + number + " of " + std::to_string(c.n_parts);
            EXPECT_TRUE(files.read(prefix + ".id") == id);
            std::size_t const n = table(files.read(prefix + ".win.tsv")).rows.size();
            std::string const expected =
                n == 0 ? "Warning: " + part + " holds no window: its tables are empty.\n"
                       : part + ": windows " + std::to_string(end + 1) + " to " +
                             std::to_string(end + n) + ".\n";
            EXPECT_NE(files.read(prefix + ".log").find(expected), std::string::npos) << o.err;
            EXPECT_EQ(o.err.find(part + " alone:\n") != std::string::npos, n > 0) << o.err;
            end += static_cast<unsigned>(n);
        }
        for (std::string const suffix : {".win.tsv", ".hap.tsv", ".effects.tsv"})
            EXPECT_EQ(run_shell(files, "(head -q -n 1 t.*" + of + suffix +
                                           " | sort -u; tail -q -n +2 t.*" + of + suffix +
                                           ") | cmp - t" + suffix)
                          .exit_status,
                      0)
                << c.arguments << of << suffix;
    }
}

TEST(scan_parts, resume_takes_what_was_finished) {
    auto const [whole, log] = whole_run(SLOW);
    // The smallest P and the like are those of all windows.
    std::size_t const from = log.find("Smallest P "), to = log.find("Bonferroni");
    for (int const number : {SIGKILL, SIGINT, SIGTERM}) {
        example_study files;
        unsigned long const n = interrupt(files, number);
        ASSERT_TRUE(n > 0 && n < 60) << n;
        // A killed run may leave these beside its parts, at other times than here.
        run_shell(files, "touch t.parts/record.tmp1 t.parts/002.tmp12");
        outcome const o = files.scan(SLOW + "--resume --threads 2");
        EXPECT_EQ(o.exit_status, 0) << o.err;
        std::string const taken = n == 1 ? "1" : "1-" + std::to_string(n),
                          left = std::to_string(60 - n);
        EXPECT_NE(
            o.err.find("t.parts: " + std::to_string(n) + " (" + taken + ") of 60 parts taken.\n"),
            std::string::npos)
            << o.err;
        EXPECT_NE(o.err.find(left + " of " + left + " windows done"), std::string::npos) << o.err;
        EXPECT_NE(o.err.find(log.substr(from, to - from)), std::string::npos) << o.err;
        EXPECT_TRUE(tables(files) == whole) << number;
        EXPECT_FALSE(files.has("t.parts"));
    }
}

// With --parallel in a folder of its own, and with several chunks to a part.
TEST(scan_parts, resume_of_other_runs) {
    for (auto const& [arguments, prefix] :
         {std::pair("--parallel 2 3", "t.2of3"), {"--chr 22 --to-bp 30372000", "t"}}) {
        example_study files;
        std::string const name = prefix;
        std::string expected;
        for (char const* resume : {"", " --resume"}) {
            EXPECT_EQ(files.scan(std::string(arguments) + resume).exit_status, 0);
            std::string const made = files.read(name + ".win.tsv") + files.read(name + ".hap.tsv");
            if (expected.empty()) expected = made;
            EXPECT_TRUE(made == expected) << arguments;
        }
        EXPECT_NE(files.read(name + ".log").find(name + ".parts: none of "), std::string::npos);
        EXPECT_FALSE(files.has(name + ".parts"));
    }
}

TEST(scan_parts, damaged_parts_are_computed_anew) {
    // Each to its own part, whose name is $p.
    char const* const damages[] = {": >$p",
                                   "truncate -s -1 $p",
                                   "truncate -s 3000 $p",
                                   "echo >>$p",
                                   "cp t.parts/001 $p",
                                   "printf '~' | dd of=$p bs=1 seek=200 conv=notrunc",
                                   "sed -i '1s/ [0-9]*/ 5/' $p",
                                   "sed -i '1s/ [0-9]*$/ 99999999999/' $p",
                                   "rm $p; mkfifo $p"};
    unfinished_study const files;
    std::string damage, warnings;
    for (std::size_t i = 0; i < std::size(damages); ++i) {
        std::string const part = (i < 8 ? "t.parts/00" : "t.parts/0") + std::to_string(i + 2);
        damage += "p=" + part + "; " + damages[i] + "\n";
        warnings += "Warning: " + part + ": damaged or cut short; its windows are computed anew.\n";
    }
    run_shell(files, damage + ":");
    // Their checksums are right.
    scan::options const settings;
    for (std::size_t const number : {11, 12}) {
        scan::chunk_result planted;
        planted.outcomes.resize(number == 11 ? 3 : 4);
        if (number == 12) planted.outcomes[0].code = scan::error_code(99);
        std::string const part = "t.parts/0" + std::to_string(number);
        files.write(part, part_text(number - 1, planted, scan::tables_of(settings)));
        warnings += "Warning: " + part + ": damaged or cut short; its windows are computed anew.\n";
    }
    outcome const o = files.resume("--threads 2");
    EXPECT_EQ(o.exit_status, 0) << o.err;
    EXPECT_NE(o.err.find(warnings), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("t.parts: 18 (1, 13-29) of 74 parts taken.\n"), std::string::npos)
        << o.err;
    EXPECT_TRUE(tables(files) == whole_run("--chr 22").first);
    EXPECT_FALSE(files.has("t.parts"));
}

TEST(scan_parts, resume_refuses_parts_of_another_run) {
    unfinished_study const files;
    struct {
        char const *prepare, *arguments, *undo, *message;
    } const cases[] = {
        {"", "", "", "--chr was 22 and is not given"},
        {"", "--chr 22 --window 6", "", "--window was 5 and is 6"},
        {"", "--chr 22 --maf 0.05", "", "--maf was not given and is 0.05"},
        {"", "--chr 22 --1", "", "--1 was not given and is given"},
        {"", "--chr 22 --pfilter 0.1", "", "--pfilter was 1 and is 0.1"},
        {"", "--chr 22 --covar-name age", "", "--covar-name was age,PC1 and is age"},
        {"cp -p study.fam x; echo >>study.fam", "--chr 22", "mv x study.fam",
         "the file of --fam was "},
        {"cp -p covar.txt x; touch -d '2020-02-03 04:05:06.7 UTC' covar.txt", "--chr 22",
         "mv x covar.txt", " bytes of 2020-02-03 04:05:06.700000000.\n"},
        {"cp -p t.parts/record x; sed -i 's/2.0$/1.9/' t.parts/record", "--chr 22",
         "mv x t.parts/record", "version was 1.9 and is 2.0"},
    };
    for (auto const& c : cases) {
        run_shell(files, std::string(c.prepare) + "\n:");
        outcome const o = files.scan(std::string("--resume ") + c.arguments);
        EXPECT_EQ(o.exit_status, 7) << c.message;
        for (std::string const& text :
             {std::string("Error: t.parts: holds parts of a different run: "),
              std::string(c.message),
              std::string("Run as before to go on with them, or remove the folder to begin anew.")})
            EXPECT_NE(o.err.find(text), std::string::npos) << c.message << o.err;
        EXPECT_FALSE(files.has("t.win.tsv"));
        run_shell(files, std::string(c.undo) + "\n:");
    }
    EXPECT_EQ(files.resume("--quiet --threads 2").exit_status, 0);
    EXPECT_NE(files.read("t.log").find(TAKEN), std::string::npos);
}

TEST(scan_parts, folder_of_someone_else) {
    struct {
        char const *prepare, *command, *message;
    } const cases[] = {
        {"mkdir t.parts; mv study.fam t.parts/record; ln -s t.parts/record study.fam", "",
         "study.fam: is an input in the folder of the kept parts. Change --out."},
        {"mkdir t.parts; touch t.parts/001; mkfifo t.parts/record", "",
         "t.parts/record: is no regular file."},
        {"echo mine >t.parts", "", "t.parts: cannot be made: Not a directory."},
        {"mkdir t.parts; echo mine >t.parts/notes", "",
         "t.parts: holds no kept parts. Change --out."},
        {"mkdir t.parts", "flock t.parts ", "t.parts: another run is at work on it. Change --out."},
    };
    for (auto const& c : cases) {
        example_study files;
        run_shell(files, c.prepare);
        char const look[] = "find t.parts ! -type p | xargs -r tail -v 2>&1";
        std::string const before = run_shell(files, look).out;
        outcome const o =
            files.run(std::string(c.command) + "quilmar-scan --bfile study --pheno "
                                               "pheno.txt --allow-no-covars --resume --out t");
        EXPECT_EQ(o.exit_status, 3) << c.message;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
        EXPECT_EQ(run_shell(files, "ls t.*tsv* 2>/dev/null").out, "");
        EXPECT_EQ(run_shell(files, look).out, before);
    }
    // Where no part was finished, the next run may be any.
    example_study changed;
    EXPECT_EQ(changed.scan("--resume --geno 0").exit_status, 13);
    EXPECT_EQ(changed.list("t.parts"), "record ");
    EXPECT_EQ(changed.scan("--resume --quiet").err, "");
    // A note beside the parts stays, and the folder with it.
    unfinished_study const files;
    run_shell(files, "echo mine >t.parts/notes");
    EXPECT_EQ(files.resume().exit_status, 0);
    EXPECT_EQ(files.list("t.parts"), "notes ");
}
