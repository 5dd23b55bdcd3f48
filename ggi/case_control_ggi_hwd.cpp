// Likelihood of the genotypes given the status, under Hardy-Weinberg disequilibrium
// (docs/methods.md, section 11).
//
// Parameters x: x_0 .. x_(K-1) of the modelled haplotypes, then the effects beta. With e_k =
// exp(x_k), D = 1 + sum of e, c = 1 when i = j, else 2, and z the effect codes:
//
//   rho     = 1 / D                                  f_k = e_k / (D - 1)
//   w0(i,j) = c e_i e_j,    h0(i) = e_i              a0  = sum of w0 and h0
//   w1(i,j) = c exp(x_i + x_j + beta' z(i,j)),  h1(i) = exp(x_i + beta' z(i,i)),  a1 = their sum
//   b_s     = sum of the weights of subject s's status over its pairs, h(i) added to w(i,i)
//   llh     = sum over s of ln(b_s / a_status)
//
// so that a control has the pair (i, j) with probability 2 (1 - rho) f_i f_j, or
// (1 - rho) f_i^2 + rho f_i when i = j. In the design vector of h(i) haplotype i counts once.
// All sums are over distinct genotypes and status; the terms of subjects with one genotype and one
// status are the same.
#include "ggi/case_control_ggi_hwd.h"

#include <algorithm>
#include <cmath>

thread_local case_control_ggi_hwd::gmodel* case_control_ggi_hwd::model = nullptr;

namespace {

using hwd = case_control_ggi_hwd;
using record = case_control_ggi_data;

pair_design design(record const& data) {
    return design_of(data, DISEQUILIBRIUM, hwd::model->code());
}

} // namespace

void case_control_ggi_hwd::gmodel::cw(record const& data, double w, bool homozygote, unsigned i,
                                      unsigned j, double* v) {
    design_vector d;
    design_of(data, DISEQUILIBRIUM, code()).list(homozygote, i, j, d);
    d.add_to(w, v);
}

void case_control_ggi_hwd::gmodel::cwj(record const& data, double w, bool homozygote, unsigned i,
                                       unsigned j, double* v, double* M) {
    design_vector d;
    design_of(data, DISEQUILIBRIUM, code()).list(homozygote, i, j, d);
    if (v != nullptr) d.add_to(w, v);
    d.add_product_to(w, M, data.n_parameters);
}

int case_control_ggi_hwd::gmodel::etw(record const& data, double const* x, double* w1, double* h1,
                                      double& a1) {
    // The design vector times x is the exponent.
    return retrospective::weigh_cases(design_of(data, DISEQUILIBRIUM, code()), x, nullptr, w1, h1,
                                      a1);
}

int case_control_ggi_hwd::set_model(record& data, unsigned mode) {
    return make_model<codominant_case_control_ggi_hwd>(data, DISEQUILIBRIUM, mode, model);
}

work_lengths case_control_ggi_hwd::lengths(record const& data) {
    std::size_t const K = data.n_haplotypes;
    return {K * (K + 3), 2,
            data.status == nullptr ? 2 * std::size_t{data.distinct->count} : data.n_subjects};
}

double case_control_ggi_hwd::rho(record const& data, double const* x) {
    double D = 1;
    for (unsigned k = 0; k < data.n_haplotypes; ++k)
        D += std::exp(x[k]);
    return 1 / D;
}

int case_control_ggi_hwd::etw(double const* x, unsigned K, double* W, double* e, double& a) {
    for (unsigned k = 0; k < K; ++k) {
        e[k] = std::exp(x[k]);
        if (!std::isfinite(e[k])) return finite_status(e[k]);
    }
    a = 0;
    for (unsigned i = 0; i < K; ++i) {
        for (unsigned j = 0; j <= i; ++j, ++W) {
            *W = (i == j ? 1 : 2) * e[i] * e[j];
            a += *W;
        }
        a += e[i];
    }
    return finite_status(a);
}

void case_control_ggi_hwd::p(record const& data, double const* W, double* b, double* g) {
    std::size_t const G = data.distinct->count;
    std::vector<double> sums(2 * G);
    std::fill(g, g + data.n_parameters, 0.0);
    retrospective::add_observed(design(data), sample_of(data), W, sums.data(), g);
    if (data.status == nullptr) {
        std::copy(sums.begin(), sums.end(), b);
        return;
    }
    for (unsigned s = 0; s < data.n_subjects; ++s)
        b[s] = sums[(data.status[s] != 0 ? G : 0) + data.distinct->ranks[s]];
}

int case_control_ggi_hwd::f(record const& data, double const* x, double* W, double* a, double* b,
                            double* g) {
    unsigned const K = data.n_haplotypes;
    std::size_t const pairs = triangle(K), block = pairs + K;
    int status = etw(x, K, W, W + pairs, a[0]);
    if (status == SUCCESS) status = model->etw(data, x, W + block, W + block + pairs, a[1]);
    if (status != SUCCESS) return status;
    p(data, W, b, g);
    retrospective::subtract_expected(design(data), sample_of(data), W, a, g);
    return SUCCESS;
}

double case_control_ggi_hwd::llh(record const& data, double const* a, double const* b) {
    double sum = 0;
    garray const& distinct = *data.distinct;
    for (unsigned status = 0; status < 2; ++status)
        for (unsigned r = 0; r < distinct.count; ++r)
            if (unsigned const n = distinct.genotypes[r]->multiplicity[status]) {
                std::size_t const term = data.status == nullptr
                                             ? std::size_t{status} * distinct.count + r
                                             : distinct.first[status][r];
                sum += n * std::log(b[term] / a[status]);
            }
    return sum;
}

void case_control_ggi_hwd::s(record const& data, double const* W, double const* a, double* H) {
    retrospective::add_s(design(data), sample_of(data), W, a, H);
}

void case_control_ggi_hwd::t(record const& data, double const* W, double* H) {
    retrospective::subtract_t(design(data), sample_of(data), W, H);
}

void case_control_ggi_hwd::df(record const& data, double const* W, double const* a, double const*,
                              double* H) {
    std::fill(H, H + static_cast<std::size_t>(data.n_parameters) * data.n_parameters, 0.0);
    s(data, W, a, H);
    t(data, W, H);
}

void case_control_ggi_hwd::transform(record const& data, double const* x, double* out) {
    unsigned const K = data.n_haplotypes;
    double sum = 0;
    for (unsigned k = 0; k < K; ++k)
        sum += out[k] = std::exp(x[k]);
    for (unsigned k = 0; k < K; ++k)
        out[k] /= sum;
    out[K] = rho(data, x);
    std::copy(x + K, x + data.n_parameters, out + K + 1);
}

int case_control_ggi_hwd::std_err(record const& data, double const* x, double* out) {
    return likelihood_standard_errors<case_control_ggi_hwd>(data, DISEQUILIBRIUM, x, true, out);
}
