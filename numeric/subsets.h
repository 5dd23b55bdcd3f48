// Walks through the subsets of a bit mask.
#ifndef QUILMAR_NUMERIC_SUBSETS_H
#define QUILMAR_NUMERIC_SUBSETS_H

// Calls visit(s) for all subsets s of the mask, the mask itself first, in decreasing order.
template <typename visitor> void for_each_subset(unsigned mask, visitor visit) {
    for (unsigned s = mask;; s = (s - 1) & mask) {
        visit(s);
        if (s == 0) return;
    }
}

// The same in increasing order.
template <typename visitor> void for_each_subset_upwards(unsigned mask, visitor visit) {
    for (unsigned s = 0;; s = (s - mask) & mask) {
        visit(s);
        if (s == mask) return;
    }
}

#endif
