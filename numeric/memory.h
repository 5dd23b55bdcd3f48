// Large blocks of memory: whether there is room for them, and the pages behind them.
#ifndef QUILMAR_NUMERIC_MEMORY_H
#define QUILMAR_NUMERIC_MEMORY_H

#include <cstddef>

// Throws std::bad_alloc when the process may not take this many bytes more: what the machine has
// without swapping, the control groups and the limits of the process (numeric/available_memory) are
// looked at. Asks only for amounts that matter (16 MiB and more); the system would grant what it
// does not have, and then swap or end the process.
void require_memory(double bytes);

// Asks for large pages behind a new block of `size` bytes that has not been touched, where the
// system has them and the block is worth it. Touching a large block for the first time costs more
// than reading a file into it, and random visits to one miss the translation of addresses.
void use_large_pages(void* block, std::size_t size);

#endif
