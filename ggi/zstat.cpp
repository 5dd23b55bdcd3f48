// Wald statistics  z = estimate / standard error.
#include "ggi/zstat.h"

#include "numeric/status_code.h"

#include <cmath>

int zstat(unsigned n, double const* est, double const* se, double* z) {
    for (unsigned i = n; i-- > 0;) {
        if (se[i] == 0 || std::isnan(se[i])) return DIVISION_BY_ZERO;
        z[i] = 1 / se[i] * est[i];
    }
    return SUCCESS;
}
