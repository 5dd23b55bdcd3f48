// What machine, control groups and limits leave, from made files and in the built program.
#include "numeric/available_memory.h"
#include "tests/support.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

// Mounts of control groups, as in /proc/self/mountinfo.
std::string const V1 = "36 31 0:32 / /sys/fs/cgroup/memory rw,relatime shared:9 - cgroup cgroup "
                       "rw,cpu,memory\n",
                  OTHER_V1 = "37 31 0:33 / /sys/fs/cgroup/cpu rw,relatime - cgroup cgroup "
                             "rw,cpu,release_agent=/memory\n",
                  V2 = "29 23 0:26 / /sys/fs/cgroup rw,nosuid - cgroup2 cgroup2 rw\n",
                  IN_CONTAINER = "29 23 0:26 /docker/a /sys/fs/cgroup ro - cgroup2 cgroup rw\n";

using group_file = std::pair<char const*, char const*>; // below /sys/fs/cgroup, and its text

} // namespace

TEST(available_memory, control_groups) {
    struct {
        std::string groups, mounts;
        std::vector<group_file> files;
        double expected;
    } const cases[] = {
        {"0::/job/step\n", V2, {}, 4096000},
        {"0::/job/step\n",
         V2,
         {{"job/memory.max", "max\n"}, {"job/memory.current", "70000\n"}},
         4096000},
        // The least of a group and all above it; pages that can be dropped do not count.
        {"0::/job/step\n",
         V2,
         {{"job/step/memory.max", "900000\n"},
          {"job/step/memory.current", "500000\n"},
          {"job/step/memory.stat", "anon 1\nfile 3\ninactive_file 100000\nactive_file 7\n"}},
         500007},
        {"0::/job/step\n",
         V2,
         {{"job/step/memory.max", "900000\n"},
          {"job/memory.max", "800000\n"},
          {"job/memory.current", "600000\n"}},
         200000},
        {"0::/job\n", V2, {{"memory.max", "50000\n"}}, 50000},
        {"0::/job\n5:cpu:/wrong\n",
         V2,
         {{"job/memory.max", "5000\n"}, {"job/memory.current", "9000\n"}},
         -4000},
        // Version 1, beside controllers that do not matter; the whole subtree's pages.
        {"7:cpu:/wrong\n4:cpuset,memory:/job\n1:name=memory-x:/wrong\n0::/wrong\n",
         OTHER_V1 + V1,
         {{"memory/memory.limit_in_bytes", "9223372036854771712\n"},
          {"memory/job/memory.limit_in_bytes", "900000\n"},
          {"memory/job/memory.usage_in_bytes", "500000\n"},
          {"memory/job/memory.stat",
           "inactive_file 5\ntotal_inactive_file 30000\ntotal_active_file 11\n"},
          {"memory/wrong/memory.limit_in_bytes", "1\n"},
          {"cpu/job/memory.limit_in_bytes", "1\n"},
          {"cpu/wrong/memory.limit_in_bytes", "1\n"}},
         430011},
        // Both versions at once.
        {"4:memory:/job\n0::/job\n",
         V1 + V2,
         {{"memory/job/memory.limit_in_bytes", "300000\n"}, {"job/memory.max", "700000\n"}},
         300000},
        // A container sees its own part of the groups.
        {"0::/docker/a/x\n",
         IN_CONTAINER,
         {{"x/memory.max", "700000\n"}, {"docker/a/x/memory.max", "1\n"}},
         700000},
        {"0::/docker/a\n", IN_CONTAINER, {{"memory.max", "600000\n"}}, 600000},
        {"0::/docker/abc\n",
         IN_CONTAINER,
         {{"memory.max", "600000\n"}, {"bc/memory.max", "1\n"}},
         600000},
        {"0::/../b\n", V2, {{"memory.max", "600000\n"}}, 600000},
        {"", V2 + V1, {{"memory.max", "1\n"}, {"memory/memory.limit_in_bytes", "1\n"}}, 4096000},
        {"0::/\nbroken", "36 31 0:32\n" + V2, {{"memory.max", "600000\n"}}, 600000},
    };
    for (auto const& c : cases) {
        scratch root;
        std::filesystem::create_directories(root.file("proc/self"));
        root.write("proc/meminfo",
                   "MemTotal: 9000 kB\nHugePages_Total: 0\nMemAvailable:  4000 kB\n");
        root.write("proc/self/cgroup", c.groups);
        root.write("proc/self/mountinfo", c.mounts);
        std::string files;
        for (auto const& [name, text] : c.files) {
            std::string const path = std::string("sys/fs/cgroup/") + name;
            std::filesystem::create_directories(
                std::filesystem::path(root.file(path)).parent_path());
            root.write(path, text);
            files += std::string(name) + " ";
        }
        EXPECT_EQ(available_memory(root.path), c.expected) << c.groups << c.mounts << files;
    }
}

TEST(available_memory, limits_of_the_process) {
    scratch root;
    std::filesystem::create_directories(root.file("proc/self"));
    root.write("proc/meminfo", "MemAvailable: 4000000 kB\n");
    double const page = static_cast<double>(sysconf(_SC_PAGESIZE)), limit = 0x1p47;
    long const pages = static_cast<long>(limit / page);
    root.write("proc/self/statm",
               std::to_string(pages - 100) + " 1 2 3 4 " + std::to_string(pages - 200) + " 6\n");
    auto const check = [&](auto resource, double expected) {
        rlimit before;
        ASSERT_EQ(getrlimit(resource, &before), 0);
        rlimit const during{static_cast<rlim_t>(limit), before.rlim_max};
        if (before.rlim_cur != RLIM_INFINITY || setrlimit(resource, &during) != 0)
            GTEST_SKIP() << "the tests run under limits of their own";
        EXPECT_EQ(available_memory(root.path), expected);
        setrlimit(resource, &before);
    };
    check(RLIMIT_AS, 100 * page);
    check(RLIMIT_DATA, 200 * page);
}

// A limit on address space or data refuses a table of 335 MB before a page of it is touched; where
// there is room for it, it is taken.
TEST(memory, limits_of_the_process) {
#ifdef QUILMAR_SANITIZED
    GTEST_SKIP() << "the sanitizers need more address space than the limits leave";
#endif
    scratch files;
    std::string columns, header = "D", zeros;
    for (int l = 0; l < 24; ++l) {
        columns += " " + std::to_string(l + 2);
        header += " S";
        zeros += " 0";
    }
    files.write("s", "STATUS=1\nEFFECT=0\nFITERATIONS=1\nGENE=" + columns + "\n");
    files.write("d", header + "\n0" + zeros + "\n1" + zeros + "\n");
    struct {
        char const* limit;
        bool is_refused;
    } const cases[] = {
        {"ulimit -v 300000", true}, {"ulimit -d 300000", true}, {"ulimit -v 400000", false}};
    for (auto const& c : cases) {
        std::string const command = std::string(c.limit) + "; exec " QUILMAR_PROGRAM " d s 2>err";
        pid_t const pid = fork();
        if (pid == 0) {
            if (chdir(files.path.c_str()) == 0)
                execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        int status = 0;
        rusage use{};
        ASSERT_EQ(wait4(pid, &status, 0, &use), pid);
        EXPECT_EQ(WEXITSTATUS(status), 1);
        EXPECT_EQ(files.read("err").find("<quilmar> d: warning: out of memory.\n") == 0,
                  c.is_refused)
            << c.limit << files.read("err");
        EXPECT_EQ(use.ru_maxrss < 100000, c.is_refused) << c.limit; // kilobytes
    }
}
