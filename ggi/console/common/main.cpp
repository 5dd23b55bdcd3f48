// quilmar: haplotype-based association analysis of case-control studies. The run: arguments, data
// files, settings, one analysis per data file.
#include "ggi/console/common/analysis.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/data_files.h"
#include "ggi/console/common/options.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Specification file, options and result path over the defaults. Returns 1, or the exit status
// after printing what is wrong.
int read_settings(int argc, char const* const* argv, variable& v, bool& is_result_directory) {
    int status = validate_spec(argv[2], v);
    if (status == 1) status = apply_options(argc, argv, v);
    if (status == 1) status = check_result_path(v, is_result_directory);
    return status == 1 ? 1 : console_status(status, v.result_path, "");
}

void analyse_files(data_files const& files, variable& v, bool is_result_directory) {
    std::unique_ptr<double[]> const frequencies(new double[std::size_t{1} << v.n_loci()]);
    std::string const directory = is_result_directory ? v.result_path : "";
    for (std::string const& name : files.names) {
        // A directory's entries are names without a path.
        std::string const output = directory + base_name(name) + ".out";
        analyse_file(name, files.path(name), output, v, frequencies.get());
    }
}

int run(int argc, char const* const* argv, variable& v) {
    data_files files;
    int status = list_data_files(argv[1], files);
    if (status != 1) return status;
    bool is_result_directory;
    status = read_settings(argc, argv, v, is_result_directory);
    if (status == 1) analyse_files(files, v, is_result_directory);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3)
        return argc == 2 && std::strcmp(argv[1], "--help") == 0 ? help_display()
                                                                : usage_display(true);
    // A report beyond the file size limit is a failed write of that file, not the end of the run.
    std::signal(SIGXFSZ, SIG_IGN);
    variable v;
    v.init();
    int status;
    try {
        status = run(argc, argv, v);
    } catch (std::bad_alloc const&) {
        status = console_status(121, "", "");
    }
    v.free();
    return status;
}
