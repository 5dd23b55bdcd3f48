// Likelihood of the genotypes given the status, under Hardy-Weinberg equilibrium.
//
// Parameters x: log frequency ratios x_0 .. x_(K-2) of the modelled haplotypes against the
// reference K - 1 (x' is x with 0 for the reference), then the effects beta. For the pair (i, j), i
// >= j, with c = 1 when i = j, else 2, and d(i, j) = (copies of each haplotype but the reference,
// effect codes z):
//
//   w0(i,j) = c exp(x'_i + x'_j)                     a0 = sum of w0
//   w1(i,j) = c exp(x'_i + x'_j + beta' z(i,j))      a1 = sum of w1
//   b[g]    = sum of w0 over the pairs of g          b[G+g] = sum of w1 over the pairs of g
//   llh     = sum over g of  nctl ln(b[g]/a0) + ncase ln(b[G+g]/a1)
//   score   = observed minus expected design, H = S - T
#include "ggi/case_control_ggi_hwq.h"

#include "ggi/hwq_designs.h"
#include "ggi/retrospective.h"
#include "ggi/standard_errors.h"

#include <algorithm>
#include <cmath>

case_control_ggi_hwq::gmodel* case_control_ggi_hwq::model = nullptr;

namespace {

using hwq = case_control_ggi_hwq;
using record = case_control_ggi_data;

using sums = retrospective<hwq_designs<hwq>>;

} // namespace

design_vector const& case_control_ggi_hwq::gmodel::list(record const& data, unsigned i,
                                                        unsigned j) {
    d.clear();
    list_hwq_haplotypes(data, i, j, d);
    code(data, data.effects, data.n_effects, data.n_haplotypes - 1, i, j, d);
    return d;
}

void case_control_ggi_hwq::gmodel::cw(record const& data, double w, unsigned i, unsigned j,
                                      double* v) {
    list(data, i, j).add_to(w, v);
}

void case_control_ggi_hwq::gmodel::cj(record const& data, double w, unsigned i, unsigned j,
                                      double* M) {
    list(data, i, j).add_product_to(w, M, data.n_parameters);
}

void case_control_ggi_hwq::gmodel::etw(record const& data, double const* x, double* w1,
                                       double& a1) {
    a1 = 0;
    // The design vector times x is x'_i + x'_j + eta.
    for (unsigned i = 0; i < data.n_haplotypes; ++i)
        for (unsigned j = 0; j <= i; ++j, ++w1) {
            *w1 = (i == j ? 1 : 2) * std::exp(list(data, i, j).times(x));
            a1 += *w1;
        }
}

void case_control_ggi_hwq::gmodel::code(record const& data, unsigned const* const* rows, unsigned n,
                                        unsigned first, unsigned i, unsigned j,
                                        design_vector& out) const {
    add_codes(data, rows, n, two_copies, one_copy, first, i, j, out);
}

void codominant_case_control_ggi_hwq::code(record const& data, unsigned const* const* rows,
                                           unsigned n, unsigned first, unsigned i, unsigned j,
                                           design_vector& out) const {
    add_codominant_codes(data, rows, n, first, i, j, out);
}

int case_control_ggi_hwq::set_model(record& data, unsigned mode) {
    switch (mode) {
    case 1: model = new gmodel(1, 2, 1); break;
    case 2: model = new gmodel(2, 1, 0); break;
    case 3: model = new gmodel(3, 1, 1); break;
    case 4: model = new codominant_case_control_ggi_hwq; break;
    default: return 108;
    }
    data.n_parameters = data.n_haplotypes - 1 + (mode == 4 ? 2 : 1) * data.n_effects;
    return 1;
}

void case_control_ggi_hwq::etw(record const& data, double const* x, double* w0, double& a0) {
    unsigned const K = data.n_haplotypes;
    std::vector<double> e(K, 1.0);
    std::transform(x, x + K - 1, e.begin(), [](double x_k) { return std::exp(x_k); });
    a0 = 0;
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j <= i; ++j, ++w0) {
            *w0 = (i == j ? 1 : 2) * e[i] * e[j];
            a0 += *w0;
        }
}

void case_control_ggi_hwq::p(record const& data, double const* W, double* b, double* g) {
    std::fill(g, g + data.n_parameters, 0.0);
    sums::add_observed(data, W, b, g);
}

int case_control_ggi_hwq::f(record const& data, double const* x, double* W, double* a, double* b,
                            double* g) {
    etw(data, x, W, a[0]);
    model->etw(data, x, W + sums::terms(data.n_haplotypes), a[1]);
    p(data, W, b, g);
    sums::subtract_expected(data, W, a, g);
    return 1;
}

double case_control_ggi_hwq::llh(record const& data, double const* a, double const* b) {
    double sum = 0;
    for (unsigned status = 0; status < 2; ++status, b += data.distinct->count)
        for (unsigned r = 0; r < data.distinct->count; ++r)
            if (unsigned const n = data.distinct->genotypes[r]->multiplicity[status])
                sum += n * std::log(b[r] / a[status]);
    return sum;
}

double case_control_ggi_hwq::llh0(record const& data, double const* frequencies) {
    double sum = 0;
    for (unsigned subject = 0; subject < data.n_subjects; ++subject) {
        haplotype_pair_list const* const pairs = data.genotypes[subject]->pairs;
        if (pairs == nullptr || pairs->empty()) continue;
        double P = 0;
        for (haplotype_pair const& pair : *pairs) {
            unsigned const h = pair.first.code, h2 = pair.second.code;
            P += (h == h2 ? 1 : 2) * frequencies[h] * frequencies[h2];
        }
        sum += std::log(P);
    }
    return sum;
}

void case_control_ggi_hwq::s(record const& data, double const* W, double const* a, double* H) {
    sums::add_s(data, W, a, H);
}

void case_control_ggi_hwq::t(record const& data, double const* W, double* H) {
    sums::subtract_t(data, W, H);
}

void case_control_ggi_hwq::df(record const& data, double const* W, double const* a, double const*,
                              double* H) {
    std::fill(H, H + static_cast<std::size_t>(data.n_parameters) * data.n_parameters, 0.0);
    s(data, W, a, H);
    t(data, W, H);
}

void case_control_ggi_hwq::transform(record const& data, double const* x, double* out) {
    unsigned const K = data.n_haplotypes;
    double sum = 1;
    for (unsigned k = 0; k < K - 1; ++k)
        sum += out[k] = std::exp(x[k]);
    out[K - 1] = 1;
    for (unsigned k = 0; k < K; ++k)
        out[k] /= sum;
    std::copy(x + K - 1, x + data.n_parameters, out + K);
}

void case_control_ggi_hwq::jacobian(record const& data, double const* x, double* J) {
    std::size_t const K = data.n_haplotypes, p = data.n_parameters, n = p + 1;
    std::vector<double> reported(n);
    transform(data, x, reported.data());
    std::fill(J, J + n * p, 0.0);
    for (std::size_t k = 0; k < K; ++k)
        for (std::size_t l = 0; l + 1 < K; ++l)
            J[k * p + l] = reported[k] * ((k == l ? 1 : 0) - reported[l]);
    for (std::size_t e = K; e < n; ++e)
        J[e * p + e - 1] = 1;
}

int case_control_ggi_hwq::std_err(record const& data, double const* x, double* out) {
    return model_standard_errors<case_control_ggi_hwq>(
        data, x, jacobian, 2 * sums::terms(data.n_haplotypes), 2,
        2 * std::size_t{data.distinct->count}, true, out);
}
