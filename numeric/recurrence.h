// Detection of an iteration that goes round: R. P. Brent, BIT 20 (1980) 176-184.
#ifndef QUILMAR_NUMERIC_RECURRENCE_H
#define QUILMAR_NUMERIC_RECURRENCE_H

#include <cstddef>
#include <vector>

// Watches the states of an iteration in which every state follows from the one before alone.
struct recurrence {
    // Takes the state (n values and one beside them) after `iteration` iterations. When it equals an
    // earlier one in all bits, adds as many whole rounds to `iteration` as fit below `limit`: the states at the limit
    // are the same with and without them. The first thousand iterations are not watched, because
    // they end by themselves soon enough.
    void skip_rounds(double const* state, std::size_t n, double beside, unsigned limit,
                     unsigned& iteration);

  private:
    std::vector<double> earlier;
    double earlier_beside = 0;
    unsigned at = 0;      // iteration of the earlier state, 0 without one
    unsigned renewal = 0; // iteration at which it is renewed
};

#endif
