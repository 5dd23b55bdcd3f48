// Detection of an iteration that goes round.
#include "numeric/recurrence.h"

#include <cstring>

void recurrence::skip_rounds(double const* state, std::size_t n, double beside, unsigned limit,
                             unsigned& iteration) {
    // Fits and frequencies that converge need fewer, as a rule; the rest is cheap beside them.
    constexpr unsigned UNWATCHED = 1000;
    if (iteration < UNWATCHED || iteration >= limit || n == 0) return;
    if (at != 0 && beside == earlier_beside &&
        std::memcmp(earlier.data(), state, n * sizeof(double)) == 0) {
        unsigned const round = iteration - at;
        iteration += (limit - iteration) / round * round;
        at = iteration;
    } else if (iteration >= renewal) {
        // The state is kept for twice as long each time, so that a round of any length is met.
        earlier.assign(state, state + n);
        earlier_beside = beside;
        at = iteration;
        renewal = iteration > limit / 2 ? limit : 2 * iteration;
    }
}
