// Upper tail of the chi-square distribution at z^2.
#include "ggi/pvalues.h"

#include "numeric/dcdflib.h"
#include "numeric/status_code.h"

namespace {

// Our status for a status of cdfchi other than 0.
int failure(int status) {
    if (status < 0) return INVALID_SPECIFIER;
    switch (status) {
    case 1:
    case 2: return OUT_OF_RANGE;
    case 3: return SUM_IS_NOT_ONE;
    case 10: return GAMMA_NOT_EVALUATED;
    default: return FAILURE;
    }
}

} // namespace

int pvalues(unsigned const& n, unsigned const& df, double const* z, double* p) {
    int which = 1, status = 0;
    double lower, x, degrees = df, bound;
    for (unsigned i = n; i-- > 0;) {
        x = z[i] * z[i];
        cdfchi(&which, &lower, &p[i], &x, &degrees, &status, &bound);
        if (status != 0) return failure(status);
    }
    return SUCCESS;
}
