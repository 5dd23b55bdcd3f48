// Likelihood of the genotypes given the status, under Hardy-Weinberg equilibrium (docs/methods.md,
// sections 4 to 6).
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

#include <algorithm>
#include <cmath>

thread_local case_control_ggi_hwq::gmodel* case_control_ggi_hwq::model = nullptr;

namespace {

using hwq = case_control_ggi_hwq;
using record = case_control_ggi_data;

pair_design design(record const& data) {
    return design_of(data, EQUILIBRIUM, hwq::model->code());
}

} // namespace

void case_control_ggi_hwq::gmodel::cw(record const& data, double w, unsigned i, unsigned j,
                                      double* v) {
    design_vector d;
    design_of(data, EQUILIBRIUM, code()).list(false, i, j, d);
    d.add_to(w, v);
}

void case_control_ggi_hwq::gmodel::cj(record const& data, double w, unsigned i, unsigned j,
                                      double* M) {
    design_vector d;
    design_of(data, EQUILIBRIUM, code()).list(false, i, j, d);
    d.add_product_to(w, M, data.n_parameters);
}

void case_control_ggi_hwq::gmodel::etw(record const& data, double const* x, double* w1,
                                       double& a1) {
    // The design vector times x is x'_i + x'_j + beta' z.
    retrospective::weigh_cases(design_of(data, EQUILIBRIUM, code()), x, nullptr, w1, nullptr, a1);
}

int case_control_ggi_hwq::set_model(record& data, unsigned mode) {
    return make_model<codominant_case_control_ggi_hwq>(data, EQUILIBRIUM, mode, model);
}

work_lengths case_control_ggi_hwq::lengths(record const& data) {
    return {2 * triangle(data.n_haplotypes), 2, 2 * std::size_t{data.distinct->count}};
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
    retrospective::add_observed(design(data), sample_of(data), W, b, g);
}

int case_control_ggi_hwq::f(record const& data, double const* x, double* W, double* a, double* b,
                            double* g) {
    etw(data, x, W, a[0]);
    model->etw(data, x, W + triangle(data.n_haplotypes), a[1]);
    p(data, W, b, g);
    retrospective::subtract_expected(design(data), sample_of(data), W, a, g);
    return SUCCESS;
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
    for (unsigned r = 0; r < data.distinct->count; ++r) {
        genotype const& g = *data.distinct->genotypes[r];
        if (g.pairs == nullptr || g.pairs->empty()) continue;
        double P = 0;
        for (haplotype_pair const& pair : *g.pairs) {
            unsigned const h = pair.first.code, h2 = pair.second.code;
            P += (h == h2 ? 1 : 2) * frequencies[h] * frequencies[h2];
        }
        sum += g.multiplicity[2] * std::log(P);
    }
    return sum;
}

void case_control_ggi_hwq::s(record const& data, double const* W, double const* a, double* H) {
    retrospective::add_s(design(data), sample_of(data), W, a, H);
}

void case_control_ggi_hwq::t(record const& data, double const* W, double* H) {
    retrospective::subtract_t(design(data), sample_of(data), W, H);
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

int case_control_ggi_hwq::std_err(record const& data, double const* x, double* out) {
    return likelihood_standard_errors<case_control_ggi_hwq>(data, EQUILIBRIUM, x, true, out);
}
