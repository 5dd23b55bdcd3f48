// Release of the plain records.
#include "ggi/structures.h"

void result::clear() {
    double* const kept = estimates;
    *this = result{};
    estimates = kept;
}

void result::free() {
    delete[] estimates;
    *this = result{};
}

void statistics::free() {
    for (double** const array : {&estimates, &standard_errors, &z, &p}) {
        delete[] * array;
        *array = nullptr;
    }
}
