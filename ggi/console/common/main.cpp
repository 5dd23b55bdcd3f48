// quilmar: haplotype-based association analysis of case-control studies. The run: arguments, data
// files, settings, one analysis per data file.
#include "ggi/console/common/analysis.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/data_files.h"
#include "ggi/console/common/options.h"
#include "numeric/status_code.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Specification file, options and result path over the defaults. Returns SUCCESS, or the exit
// status after printing what is wrong.
int read_settings(int argc, char const* const* argv, variable& v, bool& is_result_directory) {
    int status = validate_spec(argv[2], v);
    if (status == SUCCESS) status = apply_options(argc, argv, v);
    if (status == SUCCESS) status = check_result_path(v, is_result_directory);
    return status == SUCCESS ? status : console_status(status, v.result_path, "");
}

void add_input(std::string const& path, variable& v) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0) v.inputs.insert({info.st_dev, info.st_ino});
}

void analyse_files(data_files const& files, variable& v, bool is_result_directory,
                   result& frequency) {
    std::string const directory = is_result_directory ? v.result_path : "";
    for (std::string const& name : files.names) {
        // A directory's entries are names without a path.
        std::string const output = directory + base_name(name) + ".out";
        analyse_file(name, files.path(name), output, v, frequency);
    }
}

int run(int argc, char const* const* argv, variable& v, result& frequency) {
    data_files files;
    int status = list_data_files(argv[1], files);
    if (status != SUCCESS) return status;
    bool is_result_directory;
    status = read_settings(argc, argv, v, is_result_directory);
    if (status != SUCCESS) return status;
    add_input(argv[2], v);
    for (std::string const& name : files.names)
        add_input(files.path(name), v);
    analyse_files(files, v, is_result_directory, frequency);
    return status;
}

int run_or_help(int argc, char const* const* argv, variable& v, result& frequency) {
    if (argc >= 3) return run(argc, argv, v, frequency);
    return argc == 2 && std::strcmp(argv[1], "--help") == 0 ? help_display() : usage_display(true);
}

// Takes the descriptors of closed standard streams: a file opened in their place would get the
// messages.
void open_standard_streams() {
    int file;
    do
        file = open("/dev/null", O_RDWR);
    while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0) close(file);
}

// Takes no memory.
int say_out_of_memory() {
    std::fputs("<quilmar> out of memory.\n", stderr);
    return OUT_OF_MEMORY;
}

// Where there is no room even for an exception, the attempt to throw one ends the run without one.
[[noreturn]] void terminate() {
    if (std::current_exception() != nullptr) std::abort();
    _exit(say_out_of_memory());
}

} // namespace

int main(int argc, char** argv) {
    std::set_terminate(terminate);
    open_standard_streams();
    // A report beyond the file size limit, or for a reader that has gone, is a failed write of that
    // file, not the end of the run.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    // The month of the report's date; numbers stay as they are everywhere.
    std::setlocale(LC_TIME, "");
    variable v;
    v.init();
    result frequency{};
    int status;
    try {
        status = run_or_help(argc, argv, v, frequency);
    } catch (std::bad_alloc const&) {
        status = say_out_of_memory();
    }
    frequency.free();
    v.free();
    return status;
}
