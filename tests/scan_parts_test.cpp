// Runs cut into parts, and runs that were ended and taken up again: the same bytes as the whole run.
#include "tests/scan_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// 293 windows in chunks of 4, each a part of its own to --resume.
constexpr unsigned N_WINDOWS = 293, CHUNK = 4, N_PARTS = 74;

// What the run of the tests of --resume makes when nothing stops it: its tables, and its log.
struct whole_run {
    std::string tables, log;
};

std::string tables(scratch const& files) {
    return files.read("t.win.tsv") + files.read("t.hap.tsv") + files.read("t.id");
}

whole_run run_whole() {
    example_study files;
    EXPECT_EQ(files.scan("--chr 22 --window 8 --quiet").exit_status, 0);
    return {tables(files), files.read("t.log")};
}

// Example study with that run on one thread, which a signal ended when one of its parts was there.
struct interrupted_study : example_study {
    explicit interrupted_study(int number = SIGKILL, std::string const& part = "001") {
        pid_t const pid = fork();
        if (pid == 0) {
            signal(number, SIG_DFL);
            if (chdir(path.c_str()) == 0)
                execl(QUILMAR_SCAN_PROGRAM, "quilmar-scan", "--bfile", "study", "--pheno",
                      "pheno.txt", "--covar", "covar.txt", "--covar-name", "age,PC1", "--chr", "22",
                      "--window", "8", "--threads", "1", "--quiet", "--resume", "--out", "t",
                      nullptr);
            _exit(127);
        }
        for (int i = 0; i < 20000 && !has("t.parts/" + part); ++i)
            usleep(1000);
        kill(pid, number);
        int status = 0;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == number
                                        : WEXITSTATUS(status) == 128 + number)
            << status;
        n_parts = std::stoul(run_shell(*this, "ls t.parts | grep -c '^[0-9]*$'").out);
        EXPECT_GE(n_parts, 1u);
        EXPECT_LT(n_parts, N_PARTS);
    }
    outcome resume(std::string const& arguments = "") const {
        return scan("--chr 22 --window 8 --resume " + arguments);
    }
    // The line that says which parts were taken.
    std::string taken(unsigned first, std::size_t last) const {
        return "t.parts: " + std::to_string(last - first + 1) + " (" + std::to_string(first) +
               (last > first ? "-" + std::to_string(last) : "") + ") of 74 parts taken.\n";
    }

    unsigned long n_parts; // finished
};

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
        ASSERT_EQ(files.scan(c.arguments).exit_status, 0);
        std::string const of = "of" + std::to_string(c.n_parts), id = files.read("t.id");
        unsigned end = 0;
        for (unsigned k = 1; k <= c.n_parts; ++k) {
            std::string const number = std::to_string(k), pad(c.n_parts > 9 && k < 10, '0');
            outcome const o =
                files.scan("--parallel " + number + " " + std::to_string(c.n_parts) +
                           " --threads " + std::to_string(c.threads) + " " + c.arguments);
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
            EXPECT_EQ(o.err.find(part + " alone:\nLambda ") != std::string::npos, n > 0) << o.err;
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
    whole_run const whole = run_whole();
    // Lambda and the like are those of all windows.
    std::size_t const from = whole.log.find("Lambda "), to = whole.log.find("Bonferroni");
    for (int const number : {SIGKILL, SIGINT, SIGTERM}) {
        interrupted_study const files(number);
        EXPECT_EQ(files.list("t.parts").find(".tmp"), std::string::npos);
        // A killed run may leave these beside its parts.
        run_shell(files, "touch t.parts/record.tmp1 t.parts/002.tmp12");
        outcome const o = files.resume("--threads 2");
        EXPECT_EQ(o.exit_status, 0) << o.err;
        EXPECT_NE(o.err.find(files.taken(1, files.n_parts)), std::string::npos) << o.err;
        std::string const left = std::to_string(N_WINDOWS - CHUNK * files.n_parts);
        EXPECT_NE(o.err.find(left + " of " + left + " windows done"), std::string::npos) << o.err;
        EXPECT_NE(o.err.find(whole.log.substr(from, to - from)), std::string::npos) << o.err;
        EXPECT_TRUE(tables(files) == whole.tables) << number;
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
                                   "sed -i '1s/ [0-9]*$/ 99999999999/' $p"};
    interrupted_study const files(SIGKILL, "012");
    std::string damage, warnings;
    for (std::size_t i = 0; i < std::size(damages); ++i) {
        std::string const part = "t.parts/00" + std::to_string(i + 2);
        damage += "p=" + part + "; " + damages[i] + "\n";
        warnings += "Warning: " + part + ": damaged or cut short; its windows are computed anew.\n";
    }
    run_shell(files, damage + ":");
    outcome const o = files.resume("--threads 2");
    EXPECT_EQ(o.exit_status, 0) << o.err;
    EXPECT_NE(o.err.find(warnings), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("(1, 10-" + std::to_string(files.n_parts) + ") of 74 parts taken.\n"),
              std::string::npos)
        << o.err;
    EXPECT_TRUE(tables(files) == run_whole().tables);
    EXPECT_FALSE(files.has("t.parts"));
}

TEST(scan_parts, resume_refuses_parts_of_another_run) {
    interrupted_study const files;
    std::string const before = files.list("t.parts");
    struct {
        char const *prepare, *arguments, *undo, *message;
    } const cases[] = {
        {"", "--window 8", "", "--chr was 22 and is not given"},
        {"", "--chr 22 --window 9", "", "--window was 8 and is 9"},
        {"", "--chr 22 --window 8 --maf 0.05", "", "--maf was not given and is 0.05"},
        {"", "--chr 22 --window 8 --1", "", "--1 was not given and is given"},
        {"", "--chr 22 --window 8 --pfilter 0.1", "", "--pfilter was 1 and is 0.1"},
        {"", "--chr 22 --window 8 --covar-name age", "", "--covar-name was age,PC1 and is age"},
        {"cp -p study.fam x; echo >>study.fam", "--chr 22 --window 8", "mv x study.fam",
         "the file of --fam was "},
        {"cp -p covar.txt x; touch -d '2020-02-03 04:05:06.7 UTC' covar.txt", "--chr 22 --window 8",
         "mv x covar.txt", " bytes of 2020-02-03 04:05:06.700000000.\n"},
        {"cp -p t.parts/record x; sed -i 's/2.0$/1.9/' t.parts/record", "--chr 22 --window 8",
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
    EXPECT_NE(files.read("t.log").find(files.taken(1, files.n_parts)), std::string::npos) << before;
}

TEST(scan_parts, folder_of_someone_else) {
    struct {
        char const *prepare, *command, *message;
    } const cases[] = {
        {"echo mine >t.parts", "", "t.parts: cannot be made: Not a directory."},
        {"mkdir t.parts; echo mine >t.parts/notes", "",
         "t.parts: holds no kept parts. Change --out."},
        {"mkdir t.parts", "flock t.parts ", "t.parts: another run is at work on it. Change --out."},
    };
    for (auto const& c : cases) {
        example_study files;
        run_shell(files, c.prepare);
        outcome const o =
            files.run(std::string(c.command) + "quilmar-scan --bfile study --pheno "
                                               "pheno.txt --allow-no-covars --resume --out t");
        EXPECT_EQ(o.exit_status, 3) << c.message;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
        EXPECT_EQ(run_shell(files, "ls t.*tsv* 2>/dev/null").out, "");
        EXPECT_EQ(run_shell(files, "cat t.parts t.parts/notes 2>/dev/null").out,
                  *c.command == 0 ? "mine\n" : "");
    }
    // Where no part was finished, the next run may be any.
    example_study changed;
    EXPECT_EQ(changed.scan("--resume --geno 0").exit_status, 13);
    EXPECT_EQ(changed.list("t.parts"), "record ");
    EXPECT_EQ(changed.scan("--resume --quiet").err, "");
    // A note beside the parts stays, and the folder with it.
    interrupted_study const files;
    run_shell(files, "echo mine >t.parts/notes");
    EXPECT_EQ(files.resume().exit_status, 0);
    EXPECT_EQ(files.list("t.parts"), "notes ");
}
