// Questions and advice to the memory of the system.
#include "numeric/memory.h"

#include "numeric/available_memory.h"

#include <cstdint>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

void require_memory(double bytes) {
    // Asking takes 0.3 ms, touching so much for the first time 3 to 20 ms.
    constexpr double MATTERS = 0x1p24;
    if (bytes >= MATTERS && bytes > available_memory("")) throw std::bad_alloc();
}

void use_large_pages(void* block, std::size_t size) {
#ifdef MADV_HUGEPAGE
    // The least that is sure to hold a whole large page of 2 MiB, wherever it begins.
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
