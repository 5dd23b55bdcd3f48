"""P-values as -log10, however small.

chi-square of 1 df of a p-value: x = z^2 with P(|Z| >= z) = p
lambda: median of these over the median 0.4549 that they have without association
order statistics: of n independent uniform p-values the i-th smallest is Beta(i, n + 1 - i)
"""
import numpy as np
from scipy.special import betaincinv, log_ndtr, ndtri_exp

LOG_10 = np.log(10)


def chi_square(neg_log10_p):
    """Chi-square of 1 degree of freedom whose upper tail is 10^-neg_log10_p."""
    return ndtri_exp(-np.asarray(neg_log10_p) * LOG_10 - np.log(2)) ** 2


def inflation(neg_log10_p):
    """Lambda, as the log of quilmar-scan prints it."""
    # The chi-square falls as p grows, so that the middle p-values give the middle chi-squares.
    ordered = np.sort(neg_log10_p)
    middle = ordered[[(len(ordered) - 1) // 2, len(ordered) // 2]]
    return chi_square(middle).mean() / chi_square(np.log10(2))


def neg_log10_p_of_z(z):
    """-log10 of the two-sided p-value of a standard normal z."""
    return -(log_ndtr(-np.abs(z)) + np.log(2)) / LOG_10


def null_band(ranks, n, coverage=0.95):
    """-log10 of the bounds (lower, upper) between which the p-value of each rank of n lies."""
    tail = (1 - coverage) / 2
    low, high = (betaincinv(ranks, n + 1 - ranks, q) for q in (1 - tail, tail))
    return -np.log10(low), -np.log10(high)
