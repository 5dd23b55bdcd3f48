"""P-values as -log10, however small.

lambda: median over the windows of the chi-square by the median of its distribution without association
order statistics: of n independent uniform p-values the i-th smallest is Beta(i, n + 1 - i)
"""
import numpy as np
from scipy.special import betaincinv, gammaincinv, log_ndtr

LOG_10 = np.log(10)


# Fewer windows have no lambda worth the name.
LEAST_LAMBDA = 100


def inflation_text(chi_square, df):
    """Lambda as the log of quilmar-scan prints it; nothing for few windows."""
    known = df > 0
    if known.sum() < LEAST_LAMBDA:
        return ""
    return f"{np.median(chi_square[known] / (2 * gammaincinv(df[known] / 2, 0.5))):.4g}"


def neg_log10_p_of_z(z):
    """-log10 of the two-sided p-value of a standard normal z."""
    return -(log_ndtr(-np.abs(z)) + np.log(2)) / LOG_10


def null_band(ranks, n, coverage=0.95):
    """-log10 of the bounds (lower, upper) between which the p-value of each rank of n lies."""
    tail = (1 - coverage) / 2
    low, high = (betaincinv(ranks, n + 1 - ranks, q) for q in (1 - tail, tail))
    return -np.log10(low), -np.log10(high)
