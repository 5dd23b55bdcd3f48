// Faults around the built program: disks, devices, links, closed streams, signals, locales and
// memory that runs out. Whatever happens to one file, the others have their whole reports.
#include "examples/simulation.h"
#include "tests/support.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string const SPEC = "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.01\n";
std::string const DATA = one_snp({50, 40, 20}, {30, 45, 28});

// The data file "d", a directory of copies "in/1" and so on, an empty directory "res" for reports.
struct directory_run : scratch {
    directory_run(std::string const& spec, std::string const& data, int files) {
        mkdir(file("in").c_str(), 0755);
        mkdir(file("res").c_str(), 0755);
        write("s", spec);
        write("d", data);
        for (int i = 1; i <= files; ++i)
            write("in/" + std::to_string(i), data);
    }
};

// A run of "quilmar in s -o res" in the background. When `gated`, its standard error stream is a
// full pipe, so that the first message blocks until the pipe is emptied.
struct background_run {
    scratch const& files;
    int ends[2];
    pid_t pid;

    background_run(scratch const& directory, bool gated) : files(directory) {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        while (gated && write(ends[1], std::string(4096, '.').data(), 4096) > 0)
            ;
        fcntl(ends[1], F_SETFL, 0);
        pid = fork();
        if (pid == 0) {
            dup2(gated ? ends[1] : open("/dev/null", O_WRONLY), STDERR_FILENO);
            // A shell may have started the tests with some of them ignored.
            for (int const number : {SIGINT, SIGTERM, SIGHUP})
                signal(number, SIG_DFL);
            if (chdir(directory.path.c_str()) == 0)
                execl(QUILMAR_PROGRAM, "quilmar", "in", "s", "-o", "res", nullptr);
            _exit(127);
        }
        close(ends[1]);
    }
    void wait_for(std::string const& report) const {
        for (int i = 0; i < 60000 && !files.has(report); ++i)
            usleep(1000);
        ASSERT_TRUE(files.has(report)) << report;
    }
    // Lets the run go on to its end; returns how it ended, as waitpid says.
    int finish(std::string& messages) {
        char buffer[4096];
        for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;)
            messages.append(buffer, static_cast<std::size_t>(n));
        messages.erase(0, messages.find('<'));
        close(ends[0]);
        int status = 0;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        return status;
    }
};

} // namespace

// A report that cannot be written leaves the one before it alone, and nothing else.
TEST(fault, older_report_survives) {
    struct {
        char const *prepare, *limit, *err;
    } const cases[] = {
        {"", "ulimit -f 1", "<quilmar> failed to close result file 'res/d.out'.\n"},
        {"mount -t tmpfs -o size=8k none res && cp old res/d.out", ":",
         "<quilmar> failed to close result file 'res/d.out'.\n"},
        {"mount -t tmpfs -o nr_inodes=2 none res && cp old res/d.out", ":",
         "<quilmar> failed to open result file 'res/d.out'.\n"},
    };
    for (auto const& c : cases) {
        directory_run files(SPEC, DATA, 0);
        std::string const old(8000, 'o'); // two pages
        files.write("old", old);
        files.write("res/d.out", old);
        std::string const mount = *c.prepare == '\0' ? "" : "unshare -rm ";
        if (!mount.empty() && run_shell(files, mount + "mount -t tmpfs none res").exit_status != 0)
            continue; // not permitted here
        files.write("run", std::string(c.prepare) + "\n(" + c.limit +
                               "; " QUILMAR_PROGRAM " d s -o res)\ncat res/d.out; ls -A res\n");
        outcome const o = run_shell(files, mount + "sh run");
        EXPECT_EQ(o.err, c.err) << c.prepare;
        EXPECT_EQ(o.out, old + "d.out\n") << c.prepare;
    }
}

TEST(fault, output_names) {
    struct {
        char const *prepare, *arguments, *err, *check;
    } const cases[] = {
        {"ln -s /dev/full res/d.out", "d s -o res", "failed to close result file 'res/d.out'.",
         "test -L res/d.out"},
        {"mkdir res/d.out", "d s -o res", "failed to open result file 'res/d.out'.",
         "test -d res/d.out"},
        {"mkfifo res/d.out", "d s -o res", "failed to open result file 'res/d.out'.",
         "test -p res/d.out"},
        {"ulimit -f 1", "d s -o res", "failed to close result file 'res/d.out'.",
         "test -z \"$(ls -A res)\""},
        {"ln -s loop res/loop; ln -s loop res/d.out", "d s -o res",
         "failed to open result file 'res/d.out'.", "test -L res/d.out"},
        {"ln -s d d.out", "d s", "failed to open result file 'd.out'.", "cmp d copy"},
        {"ln d d.out", "d s", "failed to open result file 'd.out'.", "cmp d copy"},
        {"cp s d.out", "d d.out", "failed to open result file 'd.out'.", "cmp s d.out"},
        // Links are followed, also to a file that is not there yet, and stay.
        {"touch old; ln -s ../old res/link; ln -s link res/d.out", "d s -o res",
         "d: result saved to 'res/d.out'.", "test -L res/d.out && grep -q Success old"},
        {"ln -s ../new res/d.out", "d s -o res", "d: result saved to 'res/d.out'.",
         "test -L res/d.out && grep -q Success new"},
        // Permissions: those of the report that is replaced, else what the mask leaves.
        {"touch d.out; chmod 600 d.out", "d s", "d: result saved to 'd.out'.",
         "test $(stat -c %a d.out) = 600"},
        {"touch d.out; chmod 4777 d.out; umask 027", "d s", "d: result saved to 'd.out'.",
         "test $(stat -c %a d.out) = 640"},
        {"umask 012", "d s", "d: result saved to 'd.out'.", "test $(stat -c %a d.out) = 664"},
        // The longest name that a report can have.
        // A data file of the same run; the next one's report has another name.
        {"cp d in/a; cp d in/a.out", "in s -o in",
         "failed to open result file 'in/a.out'.\n<quilmar> a.out: result saved to "
         "'in/a.out.out'.",
         "cmp d in/a.out"},
        // What a killed run has left is no data file; other hidden files are.
        {"cp d in/.quilmar-aZ09xy; cp d in/.quilmar-12345", "in s -o res",
         ".quilmar-12345: result saved to 'res/.quilmar-12345.out'.",
         "rm res/.quilmar-12345.out in/.quilmar*"},
        {"n=$(printf %0251d 0); cp d $n", "$n s 2>/dev/null; echo '<quilmar> good' >&2", "good",
         "grep -q Success $n.out"},
    };
    for (auto const& c : cases) {
        directory_run files(SPEC, DATA, 0);
        files.write("copy", DATA);
        outcome const o = run_shell(files, std::string(c.prepare) + "; " QUILMAR_PROGRAM " " +
                                               c.arguments + "; " + c.check);
        EXPECT_EQ(o.err, std::string("<quilmar> ") + c.err + "\n") << c.prepare;
        EXPECT_EQ(o.exit_status, 0) << c.prepare;
        EXPECT_EQ(files.list(".").find(".quilmar"), std::string::npos);
        EXPECT_EQ(files.list("res").find(".quilmar"), std::string::npos);
    }
}

// Reports in directories that belong to others. The user is not the owner of what is there.
TEST(fault, shared_directories) {
    if (geteuid() != 0) GTEST_SKIP() << "other users' files can only be made by the superuser";
    struct {
        char const *prepare, *err, *check;
    } const cases[] = {
        // A report that may be written is overwritten where it cannot be replaced.
        {"chmod 755 res; cp old res/d.out; chmod 666 res/d.out", "d: result saved to 'res/d.out'.",
         "grep -q Success res/d.out && ! grep -q old res/d.out && test $(stat -c %u res/d.out) = "
         "0"},
        {"chmod 1777 res; cp old res/d.out; chmod 666 res/d.out", "d: result saved to 'res/d.out'.",
         "grep -q Success res/d.out && ! grep -q old res/d.out && test $(stat -c %u res/d.out) = "
         "0"},
        {"mount --bind old res/d.out", "d: result saved to 'res/d.out'.", "grep -q Success old"},
        // With a second name it may be anything.
        {"chmod 755 res; ln old res/d.out", "failed to open result file 'res/d.out'.",
         "grep -q old old"},
        {"chmod 1777 res; ln old res/d.out", "failed to open result file 'res/d.out'.",
         "grep -q old old"},
        {"chmod 755 res", "failed to open result file 'res/d.out'.", "true"},
        {"cp old res/d.out; chmod 644 res/d.out", "failed to open result file 'res/d.out'.",
         "grep -q old res/d.out"},
        // A mode of someone else's choice does not count, nor does a link.
        {"cp old res/d.out; chmod 660 res/d.out", "d: result saved to 'res/d.out'.",
         "test $(stat -c %a res/d.out) = 644"},
        {"ln -s ../old res/d.out", "failed to open result file 'res/d.out'.", "grep -q old old"},
        // To save in a directory it need not be readable, if the path names it.
        {"mkdir -m 733 res/in; ln -s in/d.out res/d.out; chown -h 65534 res/d.out",
         "d: result saved to 'res/d.out'.", "grep -q Success res/in/d.out"},
    };
    for (auto const& c : cases) {
        directory_run files(SPEC, DATA, 0);
        files.write("old", std::string(9000, ' ') + "old\n");
        bool const mounts = std::string(c.prepare).find("mount") == 0;
        std::string const user = "setpriv --reuid 65534 --clear-groups ",
                          space = mounts ? "unshare -m " : "";
        run_shell(files, "chmod 755 .; chmod 777 res; chmod 666 old");
        if (run_shell(files, user + QUILMAR_PROGRAM " --help").exit_status != 0)
            GTEST_SKIP() << "the program cannot be run by another user";
        if (mounts) files.write("res/d.out", "");
        if (mounts && run_shell(files, space + "mount --bind old res/d.out").exit_status != 0)
            continue; // not permitted here
        files.write("run", std::string(c.prepare) + "; " + user + QUILMAR_PROGRAM " d s -o res; " +
                               c.check);
        outcome const o = run_shell(files, space + "sh run");
        EXPECT_EQ(o.err, std::string("<quilmar> ") + c.err + "\n") << c.prepare;
        EXPECT_EQ(o.exit_status, 0) << c.prepare;
        EXPECT_EQ(files.list("res").find(".quilmar"), std::string::npos) << c.prepare;
    }
}

// What cannot be a data file is passed over or costs one message.
TEST(fault, directory_entries) {
    directory_run files(SPEC, DATA, 3);
    outcome const made = run_shell(
        files, "cd in; ln -s nowhere 2-dangling; ln -s /dev/zero 2-device; ln -s 2-loop 2-loop; "
               "mkfifo 2-fifo; truncate -s 3G 2-vast; echo x >2-unreadable; chmod 0 2-unreadable");
    ASSERT_EQ(made.exit_status, 0) << made.err;
    // Says that it is longer than it is.
    bool const has_short = access("/sys/devices/system/cpu/online", R_OK) == 0;
    if (has_short) run_shell(files, "ln -s /sys/devices/system/cpu/online in/2-short");
    int const server = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    files.file("in/2-socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(server);
    files.write("in/2-\x1b[2Jclear\n\x7f", "");
    std::string const err = run_quilmar(files, "in s -o res").err;
    EXPECT_EQ(files.list("res"), "1.out 2.out 3.out ") << err;
    for (char const* line :
         {"no read permission for file 'in/2-unreadable'.\n",
          "error reading data file 'in/2-vast'.\n", "2-?[2Jclear??: error: no data found.\n"})
        EXPECT_NE(err.find(line), std::string::npos) << line << err;
    EXPECT_EQ(err.find("error reading data file 'in/2-short'.\n") != std::string::npos, has_short);
}

// A directory that may be listed but not searched is not an empty one.
TEST(fault, directory_without_permission) {
    directory_run files(SPEC, DATA, 1);
    chmod(files.file("in").c_str(), 0644);
    chmod(files.path.c_str(), 0755);
    // The superuser may read anything.
    std::string const user = geteuid() == 0 ? "setpriv --reuid 65534 --clear-groups " : "";
    if (run_shell(files, user + QUILMAR_PROGRAM " --help").exit_status != 0)
        GTEST_SKIP() << "the program cannot be run by another user";
    outcome const o = run_shell(files, user + QUILMAR_PROGRAM " in s -o res");
    EXPECT_EQ(o.err, "<quilmar> no read permission for directory 'in'.\n");
    EXPECT_EQ(o.exit_status, -9997 & 255);
    chmod(files.file("in").c_str(), 0755);
}

// Control characters of a file name and of a column name in the report.
TEST(fault, control_characters) {
    scratch files;
    files.write("a\rb\tc", "D A e\x1b[1m\x01\xff\xc2\x9b\n0 0 1\n0 1 2\n1 0 2\n1 1 1\n1 2 3\n");
    files.write("s", "STATUS=1\nGENE=2\nENVIRONMENT=3\nEFFECT=-1 1\n");
    run_quilmar(files, "$(printf 'a\\rb')*c s");
    std::string const report = files.read("a\rb\tc.out");
    EXPECT_NE(report.find("=== QUILMAR Analysis a?b?c ===\n"), std::string::npos);
    EXPECT_NE(report.find("\n  e?[1m??? "), std::string::npos);
}

// Data files that vanish, shrink or turn into something else after they have been listed.
TEST(fault, files_change_during_the_run) {
    directory_run files(SPEC, DATA, 6);
    background_run run(files, true);
    run.wait_for("res/1.out");
    for (char const* gone : {"in/2", "in/4", "in/5"})
        unlink(files.file(gone).c_str());
    files.write("in/3", "");
    mkfifo(files.file("in/4").c_str(), 0644);
    mkdir(files.file("in/5").c_str(), 0755);
    std::string err;
    int const status = run.finish(err);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(err, "<quilmar> 1: result saved to 'res/1.out'.\n"
                   "<quilmar> failed to open data file '2'.\n"
                   "<quilmar> 3: error: no data found.\n"
                   "<quilmar> error reading data file 'in/4'.\n"
                   "<quilmar> error reading data file 'in/5'.\n"
                   "<quilmar> 6: result saved to 'res/6.out'.\n");
    EXPECT_EQ(files.list("res"), "1.out 6.out ");
}

// A signal ends the run at once, or as soon as the report that is being written is whole. All but
// the first of the signals are sent when a temporary file is seen.
TEST(fault, signals) {
    std::string const spec = "STATUS=1\nGENE=2 3 4 5 6 7 8 9\nEFFECT=-1\nFITERATIONS=1\n"
                             "FTOLERANCE=1e-300\nTHRESHOLD=0.0001\n",
                      subject = " 9 9 9 9 9 9 9 9\n",
                      data = "D A B C D E F G H\n0" + subject + "1" + subject;
    std::string whole;
    for (int i = 0; i < 6; ++i)
        for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
            directory_run files(spec, data, 9);
            background_run run(files, i == 0);
            if (i == 0) run.wait_for("res/1.out");
            while (i > 0 && files.list("res").find(".quilmar") == std::string::npos &&
                   !files.has("res/9.out"))
                ;
            kill(run.pid, number);
            std::string err;
            int const status = run.finish(err);
            EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == number : i > 0) << status;
            std::string expected;
            for (char c = '1'; c <= '9'; ++c) {
                std::string const name = std::string(1, c) + ".out";
                if (!files.has("res/" + name)) continue;
                expected += name + " ";
                std::string report = undated(files.read("res/" + name));
                report.erase(0, report.find("===\n", 100)); // the banner holds the name
                if (whole.empty()) whole = report;
                EXPECT_TRUE(report == whole) << name;
            }
            EXPECT_EQ(files.list("res"), expected);
        }
}

TEST(fault, closed_streams) {
    scratch files;
    files.write("d", DATA);
    files.write("s", SPEC + "x=1\n"); // a warning comes before the report
    run_quilmar(files, "d s");
    std::string const report = undated(files.read("d.out"));
    for (char const* closed : {"2>&-", "0<&- 1>&- 2>&-", "0<&- 2>&-", "2>/dev/full", "2>&1 | :"}) {
        unlink(files.file("d.out").c_str());
        // The reader of the pipe is gone by then.
        outcome const o =
            run_shell(files, std::string("{ sleep 0.1; " QUILMAR_PROGRAM " d s; } ") + closed);
        EXPECT_EQ(o.out + o.err, "") << closed;
        EXPECT_EQ(undated(files.read("d.out")), report) << closed;
        EXPECT_EQ(files.list("."), "d d.out s ") << closed;
    }
}

// What cannot be had ends a file with the message before it is made; the next file, of the same
// columns, has its report where the table of frequencies fits.
TEST(fault, cost_guards) {
    auto const line_of = [](char const* status, unsigned loci, char value) {
        std::string text = status;
        for (unsigned l = 0; l < loci; ++l)
            text += std::string(" ") + value;
        return text + "\n";
    };
    std::string const no_room = "1: warning: out of memory.\n",
                      no_time = "1: error: 1 subjects with more than 10 missing loci: leave them "
                                "out.\n",
                      counted =
                          "1: warning: 1 subjects have more than 10 missing loci.\n"
                          "1: warning: exceeded maximum iterations in frequency computation.\n"
                          "1: warning: haplotype frequencies sum to 882.323.\n";
    std::string const no_fit =
        no_time + counted.substr(counted.find('\n') + 1) + "1: result saved to 'res/1.out'.\n";
    struct {
        unsigned loci;
        char const *settings, *message;
        bool is_refused, has_next;
        char const* why;
    } const cases[] = {
        {32, "ITERATIONS=2\nFITERATIONS=2", no_room.c_str(), true, false, "2^32 frequencies"},
        {20, "ITERATIONS=2\nFITERATIONS=2", no_time.c_str(), true, true, "4^20 pairs"},
        {13, "ITERATIONS=2\nFITERATIONS=2000", no_time.c_str(), true, true, "2,000 times 4^13"},
        {11, "FITERATIONS=3\nITERATIONS=500", no_fit.c_str(), false, true, "K^3 = 2^33, 500 times"},
        {11, "FITERATIONS=3\nITERATIONS=500\nEFFECT=2048", counted.c_str(), false, true, "no fit"},
        {11, "FITERATIONS=3\nTHRESHOLD=0.9", counted.c_str(), false, true, "one haplotype"},
        {11, "SAMPLE=cases\nTHRESHOLD=1e-300\nITERATIONS=4294967295",
         "1: result saved to 'res/1.out'.\n", false, true, "not in the sample"},
        {20, "ITERATIONS=2\nFITERATIONS=2\nHW=HWD", "", false, true, "sums of 2^20 haplotypes"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.why);
        std::string gene = "STATUS=1\nEFFECT=0\nGENE=", header = line_of("D", c.loci, 'S');
        for (unsigned l = 0; l < c.loci; ++l)
            gene += std::to_string(l + 2) + " ";
        std::string known = header + line_of("0", c.loci, '0') + line_of("1", c.loci, '0');
        // A second case, for which the cases keep 8 haplotypes above a tiny threshold.
        std::string other = line_of("1", c.loci, '0');
        other[2] = other[4] = other[6] = '1';
        known += other;
        directory_run files(gene + "\n" + c.settings + "\n", known, 2);
        std::string controls;
        for (int i = 0; i < 199; ++i)
            controls += line_of("0", c.loci, '0');
        files.write("in/1", known + controls + line_of("0", c.loci, '9'));
        if (c.loci == 32) files.write("in/2", header);
        outcome const o = run_quilmar(files, "in s -o res");
        EXPECT_EQ(o.exit_status, 1);
        EXPECT_NE(unwrapped(o.err).find(c.message), std::string::npos) << o.err;
        EXPECT_EQ(files.has("res/1.out"), !c.is_refused);
        EXPECT_EQ(files.has("res/2.out"), c.has_next);
        if (c.message != no_fit) continue;
        // Without a fit there is no table of effects, and the line comes before the work.
        EXPECT_EQ(files.read("res/1.out").find("Estimate"), std::string::npos);
        files.write("s", gene + "\nITERATIONS=500\nFITERATIONS=10000\nFTOLERANCE=1e-300\n");
        std::string const line = run_shell(files, "timeout 1 " QUILMAR_PROGRAM " in/1 s").err;
        EXPECT_EQ(line.find("<quilmar> in/1: error: 1 subjects with"), 0u) << line;
    }
}

// Memory that runs out at every stage: at each level the big file has its report or the message,
// and once there is room for a small file it always has its report.
TEST(memory, runs_out) {
#ifdef QUILMAR_SANITIZED
    GTEST_SKIP() << "the sanitizer needs more address space than the limits leave";
#endif
    std::string const gene = "STATUS=2\nGENE=3 4 5 6 7 8 9 10 11 12 13 14\nTHRESHOLD=0.0001\n",
                      none = gene + "ENVIRONMENT=15\nEFFECT=-1 -1\n";
    simulation design{{12}, {}, {}, 300, 300, 0, 0};
    for (unsigned h = 0; h < 50; ++h)
        design.haplotypes.push_back({h * 81 % 4096, 0.02});
    design.covariates = {{0.0, 0.0}};
    std::string const phased = simulate(design, 1);
    design.missing = 0.4;
    std::string const gaps = simulate(design, 2);
    std::string terms;
    for (int h = 0; h < 20; ++h)
        terms += "EFFECT=" + std::to_string(h * 81 % 4096) + " 1\n";
    std::string const wide =
        std::regex_replace(phased, std::regex("\n"), "\n" + std::string(5000, 'x'));
    struct {
        char const* stage;
        std::string big, spec;
    } const cases[] = {{"reading", wide, none},
                       {"estimating", gaps, none},
                       {"fitting", phased, gene + "ENVIRONMENT=15\nMODEL=codominant\n" + terms}};
    bool spared = false; // the small file, where the big one failed
    for (auto const& c : cases) {
        directory_run files(c.spec, "", 0);
        files.write("in/1", c.big);
        files.write("in/2", "I D A B C D E F G H I J K L X\nx 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n"
                            "x 1 0 0 0 0 0 0 0 0 0 0 0 0 0\n");
        bool small = false, big = false, failed = false;
        for (int level = 5000; level < 60000 && !big; level += 250) {
            std::string const limit = "ulimit -v " + std::to_string(level) + "; " QUILMAR_PROGRAM;
            if (run_shell(files, limit + " --help").exit_status != 0) continue;
            run_shell(files, "rm -f res/*");
            outcome const o = run_shell(files, limit + " in s -o res");
            SCOPED_TRACE(c.stage + (" " + std::to_string(level)) + "\n" + o.err);
            big = files.has("res/1.out");
            EXPECT_TRUE(files.has("res/2.out") || !small);
            small = files.has("res/2.out");
            if (o.exit_status == 121) {
                EXPECT_EQ(o.err, "<quilmar> out of memory.\n");
                EXPECT_FALSE(small || failed);
                continue;
            }
            EXPECT_EQ(o.exit_status, 1);
            failed = o.err.find("<quilmar> 1: warning: out of memory.\n") != std::string::npos;
            EXPECT_NE(failed, big);
            spared = spared || (failed && small);
        }
        EXPECT_TRUE(big) << c.stage;
    }
    EXPECT_TRUE(spared);
}
