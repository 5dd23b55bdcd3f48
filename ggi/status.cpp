// Table of status codes and their texts.
#include "ggi/status.h"

#include <algorithm>
#include <iterator>

namespace {

struct entry {
    int code;
    char const* text;
};

constexpr entry TEXTS[] = {
    {0, "Failure."},
    {1, "Success."},
    {2, "Iteration aborted (terminated by user)."},
    {3, "Haplotype is not consistent with genotype data."},
    {4, "Division by zero."},
    {5, "Exceeded maximum number of iterations."},
    {6, "Insufficient data to perform requested computation."},
    {7, "Invalid haplotype threshold."},
    {8, "Specified tolerance is invalid."},
    {9, "Rho estimated at zero."},
    {101, "Error opening file."},
    {102, "Invalid data."},
    {103, "File contains invalid data."},
    {104, "Invalid data specifier."},
    {105, "Invalid haplotype."},
    {106, "Frequency values do not sum to 1."},
    {107, "No haplotype frequency consistent with specified threshold."},
    {108, "Specified model is invalid or could not be instantiated."},
    {109, "No case observations are available."},
    {110, "No control observations are available."},
    {111, "Failed to reach specified tolerance."},
    {112, "Value outside of expected range."},
    {113, "Iteration failed to converge."},
    {114, "Iteration aborted (invalid floating-point operation)."},
    {115, "Iteration aborted (floating-point overflow)."},
    {116, "Iteration aborted (non-convergence detected)."},
    {117, "Statistics computation failed."},
    {118, "Square root of negative value."},
    {119, "P-values may not be accurate (p+q unexpected)."},
    {120, "Unable to evaluate gamma cdf."},
    {121, "Out of memory."},
    {201, "LU decomposition: Success."},
    {202, "LU decomposition: Matrix is empty."},
    {203, "LU decomposition: Matrix is singular."},
    {301, "Cholesky decomposition: Success."},
    {302, "Cholesky decomposition: Matrix is not positive definite."},
    {303, "Cholesky decomposition: Matrix is empty."},
    {304, "Cholesky decomposition: Matrix is singular."},
};

} // namespace

std::string status_msg(int code) {
    auto const found = std::find_if(std::begin(TEXTS), std::end(TEXTS),
                                    [code](entry const& e) { return e.code == code; });
    return found == std::end(TEXTS) ? "Unknown error occurred." : found->text;
}
