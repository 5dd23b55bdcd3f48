// Expected copies of haplotypes in the smaller group, on which the choice of what is tested, and how,
// depends. They do not look at who carries the haplotypes.
#ifndef QUILMAR_SCAN_SCORE_COPIES_H
#define QUILMAR_SCAN_SCORE_COPIES_H

namespace scan {

// Is a number of copies, or a frequency, as large as the least one that is asked for, whatever the
// rounding of an estimate says?
inline bool is_enough(double expected, double least) {
    constexpr double ROUNDING = 1e-6;
    return expected >= (1 - ROUNDING) * least;
}

// Is P of all estimates that of the likelihood ratio?
inline bool is_small_group(double smaller_group, double subjects) {
    constexpr double LEAST_SHARE = 0.1;
    return !is_enough(smaller_group, LEAST_SHARE * subjects);
}

// Is P of an estimate that of the likelihood ratio, not of its z? expected: copies, or carriers, in the
// smaller group.
inline bool takes_ratio(double expected, double smaller_group, double subjects) {
    constexpr double LEAST_FOR_WALD = 50;
    return !is_enough(expected, LEAST_FOR_WALD) || is_small_group(smaller_group, subjects);
}

} // namespace scan

#endif
