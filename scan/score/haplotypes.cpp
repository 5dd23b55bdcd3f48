// Some steps of plain EM lead from equal frequencies p into the region of a maximum, and the
// quasi-Newton ascent to it. There D_h <= 2N for all haplotypes, with equality where p_h > 0
// (D = dl/dp). A haplotype that has all but vanished in spite of D_h > 2N is at a saddle point, which
// it leaves only after very many steps: it is raised to about one copy and the ascent goes on.
//
// In a long window most haplotypes vanish within a few steps of EM. These go through all 2^L
// haplotypes without a list of pairs; the ascent, through those that are left.
#include "scan/score/haplotypes.h"

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

// To the maximum of the log-likelihood.
constexpr double GAIN = 1e-15;
constexpr unsigned FIRST_STEPS = 6, FIRST_STEPS_LONG = 10;
constexpr unsigned LONG = 9; // SNPs
// Expected copies in the sample: fewer than FEWEST are dropped in a long window, and up to FEW a
// haplotype may have all but vanished; fewer than VANISHED are what the ascent leaves of none.
constexpr double FEWEST = 1e-8, FEW = 1e-2, VANISHED = 1e-6;
// Of D / 2N above 1 at a maximum.
constexpr double TOLERANCE = 1e-6;
constexpr unsigned MAX_ROUNDS = 50;

} // namespace

bool frequency_estimate::run(std::vector<genotype_count> const& genotypes, unsigned n_snps) {
    n_snps_ = n_snps;
    chromosomes_ = 0;
    for (genotype_count const& g : genotypes)
        chromosomes_ += 2.0 * (g.controls + g.cases);
    if (is_long())
        start_long(genotypes);
    else
        start(genotypes);
    for (unsigned round = 0; round < MAX_ROUNDS; ++round) {
        if (list_.is_too_long() || !climb()) return false;
        finish();
        if (!raise_any(genotypes)) return true;
    }
    return false;
}

bool frequency_estimate::is_long() const {
    return n_snps_ >= LONG;
}

void frequency_estimate::start(std::vector<genotype_count> const& genotypes) {
    list_.build(genotypes, n_snps_);
    expected_.prepare();
    std::size_t const K = list_.n_haplotypes();
    double* const p = expected_.frequencies();
    std::fill(p, p + K, 1 / static_cast<double>(K));
    for (unsigned step = 0; step < FIRST_STEPS; ++step) {
        expected_.step();
        for (std::size_t h = 0; h < K; ++h)
            p[h] *= expected_.derivatives()[h] / chromosomes_;
    }
}

void frequency_estimate::start_long(std::vector<genotype_count> const& genotypes) {
    std::size_t const size = std::size_t{1} << n_snps_;
    all_.assign(size, 1 / static_cast<double>(size));
    ratios_.resize(size);
    for (unsigned step = 0; step < FIRST_STEPS_LONG; ++step) {
        expect_all(genotypes);
        for (std::size_t h = 0; h < size; ++h)
            all_[h] = flushed(all_[h] * ratios_[h]);
    }
    kept_.clear();
    for (std::size_t h = 0; h < size; ++h)
        if (all_[h] * chromosomes_ >= FEWEST) kept_.push_back(static_cast<std::uint32_t>(h));
    list_.build(genotypes, n_snps_, kept_);
    expected_.prepare();
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        expected_.frequencies()[h] = all_[list_.bits[h]];
}

// D / 2N of all haplotypes.
void frequency_estimate::expect_all(std::vector<genotype_count> const& genotypes) {
    std::fill(ratios_.begin(), ratios_.end(), 0.0);
    for (genotype_count const& g : genotypes) {
        sides_.sum({g.twos, g.ones & ~g.twos, g.missing}, all_.data());
        sides_.add_counts(2.0 * (g.controls + g.cases) / (sides_.S * chromosomes_), 0,
                          ratios_.data());
    }
}

bool frequency_estimate::climb() {
    std::size_t const K = list_.n_haplotypes();
    double* const p = expected_.frequencies();
    roots_.resize(K);
    for (std::size_t h = 0; h < K; ++h)
        roots_[h] = std::sqrt(p[h]);
    auto const gradient = [&](double const* x, double* g) {
        for (std::size_t h = 0; h < K; ++h)
            p[h] = x[h] * x[h];
        expected_.step();
        double const* const D = expected_.derivatives();
        for (std::size_t h = 0; h < K; ++h)
            g[h] = x[h] * (D[h] / chromosomes_ - 1) / 2;
    };
    return ascent_.maximise(gradient, GAIN / (4 * chromosomes_), roots_);
}

void frequency_estimate::finish() {
    double* const p = expected_.frequencies();
    double total = 0;
    for (double& x : roots_) {
        if (x * x * chromosomes_ < VANISHED) x = 0;
        total += x * x;
    }
    for (std::size_t h = 0; h < roots_.size(); ++h)
        p[h] = roots_[h] * roots_[h] / total;
    expected_.step();
}

// Was there a haplotype that has vanished without reason?
bool frequency_estimate::raise_any(std::vector<genotype_count> const& genotypes) {
    double* const p = expected_.frequencies();
    bool is_raised = false;
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        if (p[h] * chromosomes_ < FEW &&
            expected_.derivatives()[h] > (1 + TOLERANCE) * chromosomes_) {
            p[h] = 1 / chromosomes_;
            is_raised = true;
        }
    return is_raised || (is_long() && raise_unlisted(genotypes));
}

bool frequency_estimate::raise_unlisted(std::vector<genotype_count> const& genotypes) {
    std::fill(all_.begin(), all_.end(), 0.0);
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        all_[list_.bits[h]] = frequency(h);
    expect_all(genotypes);
    std::size_t const n_listed = kept_.size();
    for (std::size_t h = 0; h < all_.size(); ++h)
        if (all_[h] == 0 && ratios_[h] > 1 + TOLERANCE) {
            all_[h] = 1 / chromosomes_;
            kept_.push_back(static_cast<std::uint32_t>(h));
        }
    if (kept_.size() == n_listed) return false;
    list_.build(genotypes, n_snps_, kept_);
    expected_.prepare();
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        expected_.frequencies()[h] = all_[list_.bits[h]];
    return true;
}

bool estimate_frequencies(std::vector<genotype_count> const& genotypes, unsigned n_snps,
                          std::vector<double>& frequencies) {
    frequency_estimate estimate;
    bool const is_converged = estimate.run(genotypes, n_snps);
    frequencies.assign(std::size_t{1} << n_snps, 0.0);
    for (std::size_t h = 0; h < estimate.list().n_haplotypes(); ++h)
        frequencies[estimate.list().bits[h]] = estimate.frequency(h);
    return is_converged;
}

} // namespace scan
