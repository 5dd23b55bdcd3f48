// Table of status codes and their texts.
#include "ggi/status.h"

#include "numeric/status_code.h"

#include <algorithm>
#include <iterator>

namespace {

struct entry {
    int code;
    char const* text;
};

constexpr entry TEXTS[] = {
    {FAILURE, "Failure."},
    {SUCCESS, "Success."},
    {ABORTED_BY_USER, "Iteration aborted (terminated by user)."},
    {UNKNOWN_HAPLOTYPE, "Haplotype is not consistent with genotype data."},
    {DIVISION_BY_ZERO, "Division by zero."},
    {ITERATIONS_EXCEEDED, "Exceeded maximum number of iterations."},
    {INSUFFICIENT_DATA, "Insufficient data to perform requested computation."},
    {INVALID_THRESHOLD, "Invalid haplotype threshold."},
    {INVALID_TOLERANCE, "Specified tolerance is invalid."},
    {RHO_AT_ZERO, "Rho estimated at zero."},
    {FILE_NOT_OPENED, "Error opening file."},
    {INVALID_DATA, "Invalid data."},
    {INVALID_FILE_DATA, "File contains invalid data."},
    {INVALID_SPECIFIER, "Invalid data specifier."},
    {INVALID_HAPLOTYPE, "Invalid haplotype."},
    {SUM_IS_NOT_ONE, "Frequency values do not sum to 1."},
    {NO_HAPLOTYPE, "No haplotype frequency consistent with specified threshold."},
    {INVALID_MODEL, "Specified model is invalid or could not be instantiated."},
    {NO_CASES, "No case observations are available."},
    {NO_CONTROLS, "No control observations are available."},
    {TOLERANCE_NOT_REACHED, "Failed to reach specified tolerance."},
    {OUT_OF_RANGE, "Value outside of expected range."},
    {NOT_CONVERGED, "Iteration failed to converge."},
    {NOT_A_NUMBER, "Iteration aborted (invalid floating-point operation)."},
    {NOT_FINITE, "Iteration aborted (floating-point overflow)."},
    {NON_CONVERGENCE_DETECTED, "Iteration aborted (non-convergence detected)."},
    {STATISTICS_NOT_COMPUTED, "Statistics computation failed."},
    {ROOT_OF_NEGATIVE, "Square root of negative value."},
    {INACCURATE_P_VALUES, "P-values may not be accurate (p+q unexpected)."},
    {GAMMA_NOT_EVALUATED, "Unable to evaluate gamma cdf."},
    {OUT_OF_MEMORY, "Out of memory."},
    {LU_SUCCESS, "LU decomposition: Success."},
    {LU_EMPTY, "LU decomposition: Matrix is empty."},
    {LU_SINGULAR, "LU decomposition: Matrix is singular."},
    {CHOLESKY_SUCCESS, "Cholesky decomposition: Success."},
    {CHOLESKY_NOT_DEFINITE, "Cholesky decomposition: Matrix is not positive definite."},
    {CHOLESKY_EMPTY, "Cholesky decomposition: Matrix is empty."},
    {CHOLESKY_SINGULAR, "Cholesky decomposition: Matrix is singular."},
};

} // namespace

std::string status_msg(int code) {
    auto const found = std::find_if(std::begin(TEXTS), std::end(TEXTS),
                                    [code](entry const& e) { return e.code == code; });
    return found == std::end(TEXTS) ? "Unknown error occurred." : found->text;
}
