// Sums over haplotype pairs, their terms and the distinct genotypes that they explain.
#include "ggi/engine/retrospective.h"

#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>

int finite_status(double value) {
    if (std::isnan(value)) return NOT_A_NUMBER;
    return std::isinf(value) ? NOT_FINITE : SUCCESS;
}

namespace retrospective {

std::size_t n_terms(pair_design const& design) {
    return triangle(design.n_haplotypes) +
           (design.has_homozygote_terms() ? design.n_haplotypes : 0);
}

std::size_t place(haplotype_pair const& pair) {
    return triangle(pair.first.position) + pair.second.position;
}

std::size_t homozygote_place(pair_design const& design, haplotype_pair const& pair) {
    return triangle(design.n_haplotypes) + pair.first.position;
}

bool is_homozygous(haplotype_pair const& pair) {
    return pair.first.position == pair.second.position;
}

bool is_certain(pair_design const& design, genotype_pairs const& pairs) {
    return pairs.size() == 1 && (!design.has_homozygote_terms() || !is_homozygous(*pairs.first));
}

int weigh_cases(pair_design const& design, double const* x, double const* offset, double* w1,
                double* h1, double& a1) {
    design_vector d;
    auto const weight = [&](bool is_homozygote_term, unsigned i, unsigned j) {
        design.list(is_homozygote_term, i, j, d);
        double const exponent = d.times(x);
        return std::exp(offset == nullptr ? exponent : exponent + offset[triangle(i) + j]);
    };
    a1 = 0;
    for (unsigned i = 0; i < design.n_haplotypes; ++i) {
        for (unsigned j = 0; j <= i; ++j, ++w1) {
            *w1 = (i == j ? 1 : 2) * weight(false, i, j);
            a1 += *w1;
        }
        if (!design.has_homozygote_terms()) continue;
        h1[i] = weight(true, i, i);
        a1 += h1[i];
    }
    return finite_status(a1);
}

double weigh(pair_design const& design, genotype_pairs const& pairs, double const* w) {
    double sum = 0;
    for (haplotype_pair const& pair : pairs) {
        sum += w[place(pair)];
        if (design.has_homozygote_terms() && is_homozygous(pair))
            sum += w[homozygote_place(design, pair)];
    }
    return sum;
}

void gather(pair_design const& design, genotype_pairs const& pairs, double const* w, double scale,
            double* observed) {
    for (haplotype_pair const& pair : pairs) {
        std::size_t const term = place(pair);
        observed[term] += scale * w[term];
        if (!design.has_homozygote_terms() || !is_homozygous(pair)) continue;
        std::size_t const homozygote = homozygote_place(design, pair);
        observed[homozygote] += scale * w[homozygote];
    }
}

void add_mean(pair_design const& design, unsigned status, genotype_pairs const& pairs,
              double const* w, double scale, design_vector& d, double* mean) {
    for (haplotype_pair const& pair : pairs) {
        unsigned const i = pair.first.position, j = pair.second.position;
        design.list_for(status, false, i, j, d);
        d.add_to(scale * w[place(pair)], mean);
        if (!design.has_homozygote_terms() || i != j) continue;
        design.list_for(status, true, i, j, d);
        d.add_to(scale * w[homozygote_place(design, pair)], mean);
    }
}

void add_designs(pair_design const& design, unsigned status, double scale, double const* w,
                 double* v) {
    design_vector d;
    for_each_term(design, w, [&](double weight, bool is_homozygote_term, unsigned i, unsigned j) {
        design.list_for(status, is_homozygote_term, i, j, d);
        d.add_to(scale * weight, v);
    });
}

void add_moments(pair_design const& design, unsigned status, double scale, double const* w,
                 double* v, double* M) {
    design_vector d;
    for_each_term(design, w, [&](double weight, bool is_homozygote_term, unsigned i, unsigned j) {
        design.list_for(status, is_homozygote_term, i, j, d);
        if (v != nullptr) d.add_to(scale * weight, v);
        d.add_product_to(scale * weight, M, design.p);
    });
}

void add_outer(double scale, std::vector<double> const& v, double* M) {
    std::size_t const p = v.size();
    for (std::size_t i = 0; i < p; ++i)
        if (v[i] != 0)
            for (std::size_t j = 0; j <= i; ++j)
                M[i * p + j] += scale * v[i] * v[j];
}

void add_observed(pair_design const& design, pair_sample const& sample, double const* W,
                  double* sums, double* g) {
    std::vector<double> observed(n_terms(design));
    for (unsigned status = 0; status < 2; ++status, W += observed.size()) {
        std::fill(observed.begin(), observed.end(), 0.0);
        for (genotype_pairs const& pairs : sample.genotypes) {
            double const sum = *sums++ = weigh(design, pairs, W);
            // Without subjects of this status a vanishing sum must not spoil the score.
            if (unsigned const n = pairs.subjects[status])
                gather(design, pairs, W, n / sum, observed.data());
        }
        add_designs(design, status, 1, observed.data(), g);
    }
}

void subtract_expected(pair_design const& design, pair_sample const& sample, double const* W,
                       double const* a, double* g) {
    for (unsigned status = 0; status < 2; ++status, W += n_terms(design))
        add_designs(design, status, -(sample.subjects[status] / a[status]), W, g);
}

void add_s(pair_design const& design, pair_sample const& sample, double const* W, double const* a,
           double* H) {
    for (unsigned status = 0; status < 2; ++status, W += n_terms(design)) {
        double const n = sample.subjects[status];
        std::vector<double> total(design.p);
        add_moments(design, status, n / a[status], W, total.data(), H);
        add_outer(-1 / n, total, H);
    }
}

void subtract_t(pair_design const& design, pair_sample const& sample, double const* W, double* H) {
    std::vector<double> observed(n_terms(design)), mean(design.p);
    design_vector d;
    for (unsigned status = 0; status < 2; ++status, W += observed.size()) {
        std::fill(observed.begin(), observed.end(), 0.0);
        for (genotype_pairs const& pairs : sample.genotypes) {
            unsigned const n = pairs.subjects[status];
            if (n == 0 || is_certain(design, pairs)) continue;
            double const sum = weigh(design, pairs, W);
            gather(design, pairs, W, n / sum, observed.data());
            std::fill(mean.begin(), mean.end(), 0.0);
            add_mean(design, status, pairs, W, 1 / sum, d, mean.data());
            add_outer(n, mean, H);
        }
        add_moments(design, status, -1, observed.data(), nullptr, H);
    }
}

} // namespace retrospective
