// Likelihood of the genotypes given the status, under Hardy-Weinberg disequilibrium.
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
// Subjects with one genotype and one status share their sums.
#include "ggi/case_control_ggi_hwd.h"

#include "ggi/hwd_designs.h"
#include "ggi/retrospective.h"
#include "ggi/standard_errors.h"

#include <algorithm>
#include <cmath>

case_control_ggi_hwd::gmodel* case_control_ggi_hwd::model = nullptr;

namespace {

using hwd = case_control_ggi_hwd;
using record = case_control_ggi_data;

using sums = retrospective<hwd_designs<hwd>>;

// 1, or the status of a value that is not finite.
int finite_status(double value) {
    if (std::isnan(value)) return 114;
    return std::isinf(value) ? 115 : 1;
}

} // namespace

design_vector const& case_control_ggi_hwd::gmodel::list(record const& data, bool homozygote,
                                                        unsigned i, unsigned j) {
    d.clear();
    list_hwd_haplotypes(homozygote, i, j, d);
    code(data, data.effects, data.n_effects, data.n_haplotypes, i, j, d);
    return d;
}

void case_control_ggi_hwd::gmodel::cw(record const& data, double w, bool homozygote, unsigned i,
                                      unsigned j, double* v) {
    list(data, homozygote, i, j).add_to(w, v);
}

void case_control_ggi_hwd::gmodel::cwj(record const& data, double w, bool homozygote, unsigned i,
                                       unsigned j, double* v, double* M) {
    design_vector const& entries = list(data, homozygote, i, j);
    if (v != nullptr) entries.add_to(w, v);
    entries.add_product_to(w, M, data.n_parameters);
}

int case_control_ggi_hwd::gmodel::etw(record const& data, double const* x, double* w1, double* h1,
                                      double& a1) {
    a1 = 0;
    // The design vector times x is the exponent.
    for (unsigned i = 0; i < data.n_haplotypes; ++i) {
        for (unsigned j = 0; j <= i; ++j, ++w1) {
            *w1 = (i == j ? 1 : 2) * std::exp(list(data, false, i, j).times(x));
            a1 += *w1;
        }
        h1[i] = std::exp(list(data, true, i, i).times(x));
        a1 += h1[i];
    }
    return finite_status(a1);
}

void case_control_ggi_hwd::gmodel::code(record const& data, unsigned const* const* rows, unsigned n,
                                        unsigned first, unsigned i, unsigned j,
                                        design_vector& out) const {
    add_codes(data, rows, n, two_copies, one_copy, first, i, j, out);
}

void codominant_case_control_ggi_hwd::code(record const& data, unsigned const* const* rows,
                                           unsigned n, unsigned first, unsigned i, unsigned j,
                                           design_vector& out) const {
    add_codominant_codes(data, rows, n, first, i, j, out);
}

int case_control_ggi_hwd::set_model(record& data, unsigned mode) {
    switch (mode) {
    case 1: model = new gmodel(1, 2, 1); break;
    case 2: model = new gmodel(2, 1, 0); break;
    case 3: model = new gmodel(3, 1, 1); break;
    case 4: model = new codominant_case_control_ggi_hwd; break;
    default: return 108;
    }
    data.n_parameters = data.n_haplotypes + (mode == 4 ? 2 : 1) * data.n_effects;
    return 1;
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
    std::vector<double> genotype_sums(2 * G);
    std::fill(g, g + data.n_parameters, 0.0);
    sums::add_observed(data, W, genotype_sums.data(), g);
    for (unsigned s = 0; s < data.n_subjects; ++s)
        b[s] = genotype_sums[(data.status[s] != 0 ? G : 0) + data.distinct->ranks[s]];
}

int case_control_ggi_hwd::f(record const& data, double const* x, double* W, double* a, double* b,
                            double* g) {
    unsigned const K = data.n_haplotypes;
    double* const W1 = W + sums::terms(K);
    int status = etw(x, K, W, W + triangle(K), a[0]);
    if (status == 1) status = model->etw(data, x, W1, W1 + triangle(K), a[1]);
    if (status != 1) return status;
    p(data, W, b, g);
    sums::subtract_expected(data, W, a, g);
    return 1;
}

double case_control_ggi_hwd::llh(record const& data, double const* a, double const* b) {
    double sum = 0;
    for (unsigned s = 0; s < data.n_subjects; ++s) {
        haplotype_pair_list const* const pairs = data.genotypes[s]->pairs;
        if (pairs != nullptr && !pairs->empty()) sum += std::log(b[s] / a[data.status[s] != 0]);
    }
    return sum;
}

void case_control_ggi_hwd::s(record const& data, double const* W, double const* a, double* H) {
    sums::add_s(data, W, a, H);
}

void case_control_ggi_hwd::t(record const& data, double const* W, double* H) {
    sums::subtract_t(data, W, H);
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

void case_control_ggi_hwd::jacobian(record const& data, double const* x, double* J) {
    std::size_t const K = data.n_haplotypes, p = data.n_parameters, n = p + 1;
    std::vector<double> reported(n);
    transform(data, x, reported.data());
    double const rho = reported[K];
    std::fill(J, J + n * p, 0.0);
    for (std::size_t l = 0; l < K; ++l) {
        for (std::size_t k = 0; k < K; ++k)
            J[k * p + l] = reported[k] * ((k == l ? 1 : 0) - reported[l]);
        J[K * p + l] = -rho * (1 - rho) * reported[l];
    }
    for (std::size_t e = K + 1; e < n; ++e)
        J[e * p + e - 1] = 1;
}

int case_control_ggi_hwd::std_err(record const& data, double const* x, double* out) {
    return model_standard_errors<case_control_ggi_hwd>(
        data, x, jacobian, 2 * sums::terms(data.n_haplotypes), 2, data.n_subjects, true, out);
}
