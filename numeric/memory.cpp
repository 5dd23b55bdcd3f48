// Questions and advice to the memory of the system.
#include "numeric/memory.h"

#include <cstdint>
#include <fstream>
#include <new>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Bytes that can be had without swapping; all memory of the machine where the system does not tell.
double available_memory() {
    std::ifstream information("/proc/meminfo");
    std::string name, unit;
    for (double kilobytes; information >> name >> kilobytes;) {
        if (name == "MemAvailable:") return 1024 * kilobytes;
        std::getline(information, unit);
    }
    return static_cast<double>(sysconf(_SC_PHYS_PAGES)) *
           static_cast<double>(sysconf(_SC_PAGESIZE));
}

} // namespace

void require_memory(double bytes) {
    constexpr double MATTERS = 0x1p26;
    if (bytes >= MATTERS && bytes > available_memory()) throw std::bad_alloc();
}

void use_large_pages(void* block, std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::size_t LARGE = std::size_t{4} << 20;
    if (size < LARGE) return;
    std::size_t const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t const unaligned = reinterpret_cast<std::uintptr_t>(block) % page;
    std::size_t const skipped = unaligned == 0 ? 0 : page - unaligned;
    madvise(static_cast<char*>(block) + skipped, size - skipped, MADV_HUGEPAGE);
#else
    static_cast<void>(block);
    static_cast<void>(size);
#endif
}
