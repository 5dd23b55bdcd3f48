// Reads what the machine, the memory control groups and the limits of the process have left. What
// cannot be read does not limit.
#include "numeric/available_memory.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace {

double page_size() {
    return static_cast<double>(sysconf(_SC_PAGESIZE));
}

double machine_memory() {
    return static_cast<double>(sysconf(_SC_PHYS_PAGES)) * page_size();
}

// The number at the beginning of a file; `otherwise` when there is none, as in "max".
double number_in(std::string const& path, double otherwise) {
    std::ifstream file(path);
    double number;
    return file >> number ? number : otherwise;
}

// The number behind a name, in a file of lines that begin with a name and a number.
double number_of(std::string const& name, std::string const& path, double otherwise) {
    std::ifstream file(path);
    std::string word, rest;
    for (double number; file >> word >> number; std::getline(file, rest))
        if (word == name) return number;
    return otherwise;
}

// Where the two versions of control groups tell what.
struct group_files {
    char const *limit, *usage, *droppable;
};
constexpr group_files VERSION_1 = {"/memory.limit_in_bytes", "/memory.usage_in_bytes",
                                   "total_inactive_file"},
                      VERSION_2 = {"/memory.max", "/memory.current", "inactive_file"};

// What the group `path` below the mount point and all groups above it have left. A limit beyond the
// memory of the machine is not reached before that is: the rest of such a group, which takes long to
// read, is not looked at.
double groups_leave(std::string const& mount_point, std::string path, group_files const& files) {
    double least = INF;
    for (;; path.erase(path.rfind('/'))) {
        std::string const group = mount_point + path;
        double const limit = number_in(group + files.limit, INF);
        if (limit < machine_memory())
            least = std::min(least, limit - number_in(group + files.usage, 0) +
                                        number_of(files.droppable, group + "/memory.stat", 0));
        if (path.empty()) return least;
    }
}

// Whether a list with commas has the memory controller.
bool has_memory(std::string const& controllers) {
    return ("," + controllers + ",").find(",memory,") != std::string::npos;
}

// The process's groups for memory as /proc/self/cgroup has them, lines "number:controllers:path",
// with no controllers for version 2; empty where there is none.
struct group_paths {
    std::string version_1, version_2;
};
group_paths read_group_paths(std::string const& root) {
    group_paths paths;
    std::ifstream file(root + "/proc/self/cgroup");
    for (std::string number, controllers, path; std::getline(file, number, ':') &&
                                                std::getline(file, controllers, ':') &&
                                                std::getline(file, path);) {
        if (has_memory(controllers)) paths.version_1 = path;
        if (controllers.empty()) paths.version_2 = path;
    }
    return paths;
}

// The part of a group's path below the group that is mounted, "" for that group itself. A path that
// is not below it cannot be seen from here.
std::string below(std::string const& mounted, std::string const& path) {
    std::string const prefix = mounted == "/" ? "" : mounted;
    bool const is_below = path.compare(0, prefix.size(), prefix) == 0 &&
                          path.size() > prefix.size() + 1 && path[prefix.size()] == '/';
    return is_below ? path.substr(prefix.size()) : "";
}

// What the control groups leave. A line of /proc/self/mountinfo is "id parent device mounted point
// options [fields] - type source options".
double control_groups_leave(std::string const& root) {
    group_paths const paths = read_group_paths(root);
    double least = INF;
    std::ifstream file(root + "/proc/self/mountinfo");
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string skipped, mounted, point, type, options;
        fields >> skipped >> skipped >> skipped >> mounted >> point;
        while (fields >> skipped && skipped != "-")
            ;
        fields >> type >> skipped >> options;
        bool const is_1 = type == "cgroup" && has_memory(options), is_2 = type == "cgroup2";
        std::string const& path = is_1 ? paths.version_1 : paths.version_2;
        if ((is_1 || is_2) && !path.empty())
            least = std::min(least, groups_leave(root + point, below(mounted, path),
                                                 is_1 ? VERSION_1 : VERSION_2));
    }
    return least;
}

// What the process's own limits leave, from its sizes in pages: all, resident, shared, text,
// libraries, data.
double resource_limits_leave(std::string const& root) {
    double pages[6] = {};
    std::ifstream file(root + "/proc/self/statm");
    for (double& size : pages)
        file >> size;
    auto const left = [](auto resource, double used) {
        rlimit limit;
        bool const is_limited = getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
        return is_limited ? static_cast<double>(limit.rlim_cur) - used * page_size() : INF;
    };
    return std::min(left(RLIMIT_AS, pages[0]), left(RLIMIT_DATA, pages[5]));
}

} // namespace

double available_memory(std::string const& root) {
    double const free = number_of("MemAvailable:", root + "/proc/meminfo", machine_memory() / 1024);
    return std::min({1024 * free, control_groups_leave(root), resource_limits_leave(root)});
}
