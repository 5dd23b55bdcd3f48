// Expected copies of haplotypes in the smaller group, on which the choice of what is tested, and how,
// depends. They do not look at who carries the haplotypes.
#ifndef QUILMAR_SCAN_SCORE_COPIES_H
#define QUILMAR_SCAN_SCORE_COPIES_H

namespace scan {

// Fewest that the z of an estimate takes for a p-value, and share of the subjects below which the
// smaller group takes the likelihood ratio for all p-values.
constexpr double LEAST_FOR_WALD = 50, LEAST_SHARE = 0.1;

// Is a number of copies, or a frequency, as large as the least one that is asked for, whatever the
// rounding of an estimate says?
inline bool is_enough(double expected, double least) {
    constexpr double ROUNDING = 1e-6;
    return expected >= (1 - ROUNDING) * least;
}

} // namespace scan

#endif
