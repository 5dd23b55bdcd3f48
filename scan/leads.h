// Lead windows: the best window of each locus.
//
//   qualifying   P or TOP_P_BONF is at most 1e-4, as the table prints them
//   lead         of the qualifying windows that no lead stands for yet the one with the smallest P, the
//                first in genome order of equal ones
//   stands for   qualifying windows without another lead, of its chromosome, with at most so many bases
//                between the window and the lead
#ifndef QUILMAR_SCAN_LEADS_H
#define QUILMAR_SCAN_LEADS_H

#include "scan/chunk_worker.h"
#include "scan/windows/window_list.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

struct lead {
    std::size_t window,
        n_windows;         // its number in the list; how many it stands for, itself included
    std::int32_t from, to; // ends of these
    std::size_t rank;      // among the leads by P, from 0 on
};

class lead_finder {
  public:
    explicit lead_finder(window_list const& list) : list_(list) {}

    // Keeps the qualifying windows of a chunk, from `first` of the list on. Chunks come in order.
    void add(std::size_t first, chunk_result const& chunk);
    std::size_t n_qualifying() const { return found_.size(); }
    // The leads in genome order; kb: most distance of a window from the lead that stands for it.
    std::vector<lead> leads(double kb) const;

  private:
    struct qualifying {
        std::size_t window;
        double neg_log10_p; // as the table prints it
    };

    window_list const& list_;
    std::vector<qualifying> found_; // in genome order

    window const& at(std::size_t i) const { return list_.windows[found_[i].window]; }
    std::vector<std::size_t> by_p() const;
};

} // namespace scan

#endif
