// quilmar-scan: score tests of the haplotypes of every window of SNPs, from PLINK files to tables.
#include "scan/error.h"
#include "scan/options.h"
#include "scan/output/run_log.h"
#include "scan/output/signals.h"
#include "scan/run.h"

#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <unistd.h>

namespace {

// Takes the descriptors of closed standard streams: a file opened in their place would get the
// messages.
void open_standard_streams() {
    int file;
    do
        file = open("/dev/null", O_RDWR);
    while (file >= 0 && file <= STDERR_FILENO);
    if (file >= 0) close(file);
}

int end(scan::exit_status status, std::string const& what) {
    scan::print_lines("Error: " + what);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    open_standard_streams();
    scan::handle_signals();
    try {
        if (auto const options = scan::read_command_line(argc, argv)) scan::run(*options);
        return scan::done;
    } catch (scan::failure const& error) {
        return end(error.status, error.what());
    } catch (std::bad_alloc const&) {
        return end(scan::memory_failed,
                   "Out of memory. Fewer --threads or a smaller --max-snps take less.");
    }
}
