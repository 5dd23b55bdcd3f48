// Parts of quilmar-scan: printed numbers, the design of the null model, files that change.
#include "scan/error.h"
#include "scan/input/bed_file.h"
#include "scan/output/numbers.h"
#include "scan/selection/design.h"
#include "tests/support.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <unistd.h>

TEST(scan_input, numbers) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    struct {
        double value;
        char const* text;
    } const numbers[] = {{0, "0"},
                         {-0.0, "0"},
                         {nan, "NA"},
                         {123456, "123456"},
                         {0.5, "0.5"},
                         {1234567, "1.23457e+06"},
                         {-1.0 / 3, "-0.333333"},
                         {1e-7, "1e-07"},
                         {999999.5, "1e+06"}};
    for (auto const& n : numbers)
        EXPECT_EQ(scan::number_text(n.value), n.text);
    struct {
        double log_p;
        char const *p, *neg_log10;
    } const p_values[] = {{0, "1", "0"},
                          {std::log(0.05), "0.05", "1.30103"},
                          {-300 * std::log(10.0), "1e-300", "300"},
                          {-1e4, "1e-300", "4342.94"},
                          {nan, "NA", "NA"}};
    for (auto const& v : p_values) {
        EXPECT_EQ(scan::p_text(v.log_p), v.p);
        EXPECT_EQ(scan::neg_log10_text(v.log_p), v.neg_log10);
    }
}

// Whatever the units, columns have mean 0 and standard deviation 1; those that others determine go.
TEST(scan_input, design) {
    std::vector<double> const x = {3, 1, 4, 1, 5, 9, 2, 6}, y = {2, 7, 1, 8, 2, 8, 1, 8};
    auto const made = [&](auto const& function) {
        std::vector<double> values;
        for (std::size_t i = 0; i < x.size(); ++i)
            values.push_back(function(x[i], y[i]));
        return values;
    };
    std::vector<double> const level = {0, 2, 2, 1, 2, 1, 2, 2};
    std::vector<scan::covariate> const covariates = {
        {"x", {}, x},
        {"large", {}, made([](double, double b) { return 1e6 + b; })},
        {"sum", {}, made([](double a, double b) { return 3 * a - 1e-9 * b + 1; })},
        {"small", {}, made([](double a, double b) { return 1e-300 * a * b; })},
        {"huge", {}, made([](double a, double b) { return 1e308 * (a > b ? 1 : -1); })},
        {"same", {}, made([](double, double) { return 5.0; })},
        {"centre", {"a", "b", "c", "absent"}, level},
        {"one", {"u", "v"}, made([](double, double) { return 1.0; })},
        {"copy", {"p", "q"}, made([](double a, double b) { return a > b ? 1.0 : 0.0; })}};
    std::vector<std::uint32_t> subjects(x.size());
    std::iota(subjects.begin(), subjects.end(), 0u);
    scan::null_design const design = scan::make_design(covariates, subjects);
    EXPECT_EQ(design.names, (std::vector<std::string>{"intercept", "x", "large", "small", "huge",
                                                      "centre=a", "centre=b"}));
    EXPECT_EQ(design.constant, (std::vector<std::string>{"same", "one"}));
    EXPECT_EQ(design.collinear, (std::vector<std::string>{"sum", "copy=p"}));
    EXPECT_EQ(design.levels[0], "centre: a 1, b 2, c 5, absent 0");
    for (Eigen::Index j = 1; j < design.columns.cols(); ++j) {
        EXPECT_NEAR(design.columns.col(j).sum(), 0, 1e-9) << j;
        EXPECT_NEAR(design.columns.col(j).squaredNorm(), 8, 1e-9) << j;
    }
    // A step of a column is its unit in the covariate.
    EXPECT_NEAR((design.columns(0, 1) - design.columns(1, 1)) * design.units[1], 2, 1e-12);
    EXPECT_NEAR((design.columns(0, 3) - design.columns(1, 3)) * design.units[3] / 1e-300, -1,
                1e-12);
    // Of the first subjects alone.
    EXPECT_EQ(scan::make_design(covariates, {1, 3}).names.size(), 2u);
}

// A .bed that becomes shorter during the run is an error, not a signal.
TEST(scan_input, bed_that_is_cut_short) {
    scratch files;
    std::string const path = files.write("s.bed", std::string("\x6c\x1b\x01") + "abcdef");
    scan::bed_file const bed(path, 3, 5);
    std::uint8_t row[2];
    bed.read(2, row);
    EXPECT_EQ(row[1], 'f');
    ASSERT_EQ(truncate(path.c_str(), 8), 0);
    bed.read(1, row);
    try {
        bed.read(2, row);
        FAIL() << "a row that is not there was read";
    } catch (scan::failure const& error) {
        EXPECT_EQ(error.status, scan::read_failed);
        EXPECT_EQ(error.what(), path + ": SNP 3 cannot be read: it has become shorter.");
    }
}
