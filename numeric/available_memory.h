// How much memory the process may still take.
#ifndef QUILMAR_NUMERIC_AVAILABLE_MEMORY_H
#define QUILMAR_NUMERIC_AVAILABLE_MEMORY_H

#include <string>

// Bytes that the process may still take, not above 0 when there are none: the least of
// - what the machine has without swapping,
// - what each of its memory control groups (versions 1 and 2, with all groups above) has left; file
//   pages that have not been used for long do not count as taken, since they give way,
// - what its limits on address space and on data have left.
// `root` is put before the paths of /proc and of the groups: "" for those of the system.
double available_memory(std::string const& root);

#endif
