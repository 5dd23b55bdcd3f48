// Bits of a mask: the highest one, how many there are, the lowest n.
#ifndef QUILMAR_NUMERIC_BITS_H
#define QUILMAR_NUMERIC_BITS_H

// The highest set bit of a mask, as a mask; 0 for 0.
inline unsigned highest_bit(unsigned mask) {
    for (unsigned shift = 1; shift < 32; shift *= 2)
        mask |= mask >> shift;
    return mask ^ (mask >> 1);
}

// Bits set in a mask: counts in fields of 2, 4 and 8 bits, which are then added up.
inline unsigned count_bits(unsigned mask) {
    mask -= (mask >> 1) & 0x55555555u;
    mask = (mask & 0x33333333u) + ((mask >> 2) & 0x33333333u);
    mask = (mask + (mask >> 4)) & 0x0f0f0f0fu;
    return (mask * 0x01010101u) >> 24;
}

// The bits below bit n, for n of 0 to 32.
inline unsigned low_bits(unsigned n) {
    return n >= 32 ? ~0u : (1u << n) - 1u;
}

#endif
