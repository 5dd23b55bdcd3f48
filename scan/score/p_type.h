// How a p-value was computed: the column P_TYPE of all tables.
#ifndef QUILMAR_SCAN_SCORE_P_TYPE_H
#define QUILMAR_SCAN_SCORE_P_TYPE_H

namespace scan {

enum class p_type {
    none,   // there is no p-value
    normal, // the score's z
    saddlepoint,
    chi_square, // the omnibus test
    cauchy,     // combination of the haplotypes' p-values
    wald,
    likelihood_ratio
};

// NA, N, SPA, CHISQ, CAUCHY, WALD or LRT.
inline char const* text(p_type type) {
    switch (type) {
    case p_type::none: return "NA";
    case p_type::normal: return "N";
    case p_type::saddlepoint: return "SPA";
    case p_type::chi_square: return "CHISQ";
    case p_type::cauchy: return "CAUCHY";
    case p_type::wald: return "WALD";
    case p_type::likelihood_ratio: return "LRT";
    }
    return "NA";
}

} // namespace scan

#endif
