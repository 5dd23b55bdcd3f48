// Estimates, standard errors, Wald z and p-values of a fit.
#include "ggi/case_control_ggi_statistics.h"

#include "ggi/case_control_ggi.h"
#include "ggi/pvalues.h"
#include "ggi/zstat.h"
#include "numeric/status_code.h"

int case_control_ggi_statistics(case_control_ggi_data const& data, unsigned hw,
                                double const* parameters, statistics& s) {
    unsigned const N = data.n_parameters + 1;
    s.estimates = new double[N];
    case_control_ggi_transform(data, hw, parameters, s.estimates);
    s.standard_errors = new double[N]();
    s.z = new double[N];
    s.p = new double[N];
    int status = case_control_ggi_stderr(data, hw, parameters, s.standard_errors);
    if (status == SUCCESS) status = zstat(N, s.estimates, s.standard_errors, s.z);
    if (status == SUCCESS) status = pvalues(N, 1, s.z, s.p);
    if (status != SUCCESS)
        for (double** const array : {&s.standard_errors, &s.z, &s.p}) {
            delete[] * array;
            *array = nullptr;
        }
    return status;
}
