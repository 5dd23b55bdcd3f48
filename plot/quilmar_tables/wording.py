"""How a paper prints p-values, odds ratios and frequencies."""
import math


def p_text(neg_log10_p):
    """0.43, 0.012, 0.0017, 3.8e-4, 2.1e-412; nothing for nan."""
    if math.isnan(neg_log10_p):
        return ""
    if neg_log10_p <= 3:
        return two_digits(10 ** -neg_log10_p)
    exponent = math.ceil(neg_log10_p)
    digits = f"{10 ** (exponent - neg_log10_p):.1f}"
    return f"{digits}e-{exponent}" if digits != "10.0" else f"1.0e-{exponent - 1}"


def two_digits(value):
    """Two decimals, below 0.095 two digits: 1.00, 0.10 for 0.0999, 0.095."""
    rounded = float(f"{value:.1e}")
    return f"{value:.2f}" if rounded >= 0.1 else f"{rounded:.{1 - math.floor(math.log10(rounded))}f}"


def ratio_text(value):
    """1.47, 0.034, 153, 0, inf."""
    if value == 0 or math.isinf(value):
        return "0" if value == 0 else "inf"
    if value < 1e-4 or value >= 999_999.5:
        return f"{value:.1e}"
    return two_digits(value) if value < 99.995 else f"{value:.0f}"


def interval_text(estimate, lower, upper):
    """1.47 (1.19-1.81); a bound that is missing is a "?"."""
    bounds = ["?" if math.isnan(bound) else ratio_text(bound) for bound in (lower, upper)]
    return f"{ratio_text(estimate)} ({bounds[0]}-{bounds[1]})"


def percent_text(frequency):
    """12.3%, and 0.45% below 1%; nothing for nan."""
    if math.isnan(frequency):
        return ""
    return f"{100 * frequency:.{1 if frequency >= 0.01 else 2}f}%"
