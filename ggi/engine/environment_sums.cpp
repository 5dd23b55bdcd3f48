// The sweep over the subjects of an environment likelihood.
#include "ggi/engine/environment_sums.h"

#include "numeric/memory.h"
#include "numeric/rows.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>

namespace {

std::size_t class_sums_size(std::size_t m, std::size_t r) {
    return m + m * m + m * r;
}

} // namespace

void environment_layout::init(exposures const& data, environment const& e, std::size_t n_genotypes,
                              std::size_t terms, std::size_t q) {
    std::size_t const r = e.n_parameters(), C = e.n_classes;
    double const n = data.n_subjects, classes = static_cast<double>(C),
                 plain = static_cast<double>(q);
    // Multiplications of either way, those of the matrix that is made of UU included.
    has_means = classes * classes / 2 * (n + plain * plain) > n * plain * (classes + plain / 2);
    control = 0;
    cases = terms;
    a0 = 2 * terms;
    joint = a0 + C + 1;
    means = joint + class_sums_size(C + 1, r) - (has_means ? (C + 1) * (C + 1) : 0);
    hh = means + (has_means ? q * q : 0);
    hh_given = hh + r * r;
    size = hh_given + r * r;
    for (unsigned g = 0; g < n_genotypes; ++g) {
        std::size_t const m = e.n_local(g);
        B.push_back(size);
        observed.push_back(size + m);
        size += m + class_sums_size(m, r);
    }
    require_memory(sizeof(double) * static_cast<double>(size));
}

namespace {

// Subjects are taken in blocks whose rows, one of values per class or parameter, stay in cache also
// with hundreds of classes. With few, 64 to 4,096 subjects take the same time.
constexpr std::size_t BLOCK = 256;

struct block_rows {
    std::vector<double> values;

    explicit block_rows(std::size_t count) : values(count * BLOCK) {}
    double* operator[](std::size_t i) { return &values[i * BLOCK]; }
    double const* operator[](std::size_t i) const { return &values[i * BLOCK]; }
};

// One sweep: the analysis, where its sums go, and the rows of the current block. The design of
// class c at parameter i is y_ci x_i, x_i being the product of the parameter (1 for kappa).
struct sweep {
    exposures const& data;
    pair_sample const& sample;
    environment const& e;
    environment_layout const& layout;
    double const* theta;
    double const* b0;
    double const* mu;
    double* W;
    double* g;
    std::size_t r, C, q;
    block_rows t;                 // t_c
    block_rows u;                 // probabilities of the joint distribution, 0 without a pair
    block_rows mean;              // x_i sum over c of u_c y_ci
    block_rows work;              // two rows
    block_rows plain;             // mean plain design, where the layout has means
    std::vector<double const*> x; // x_i of the block
    std::vector<double> const ones;
    std::vector<double> v, v_mean; // of a case given its genotype: by class, by parameter

    sweep(exposures const& subjects, pair_sample const& genotypes, environment const& covariates,
          environment_layout const& places, double const* parameters, double const* control_sums,
          std::vector<double> const& class_means, double* weights, double* score)
        : data(subjects), sample(genotypes), e(covariates), layout(places), theta(parameters),
          b0(control_sums), mu(class_means.data()), W(weights), g(score), r(e.n_parameters()),
          C(e.n_classes), q(class_means.size() / (C + 1)), t(C), u(C + 1), mean(r), work(2),
          plain(q), x(r), ones(BLOCK, 1.0), v(C), v_mean(r) {}

    double y(std::size_t c, std::size_t i) const {
        return i == 0 ? 1 : e.coefficient(static_cast<unsigned>(c), static_cast<unsigned>(i));
    }

    void point_at(std::size_t first) {
        x[0] = ones.data();
        for (unsigned i = 1; i < r; ++i)
            x[i] = &e.products[std::size_t{e.product_at(i)} * data.n_subjects + first];
    }

    // t. At the means of the products the interactions' part stands in w1.
    void exponentiate(std::size_t n) {
        double* const main = work[0];
        double* const centred = work[1];
        std::fill(main, main + n, theta[0]);
        for (unsigned i = 1; i <= e.n_main; ++i)
            add_scaled(theta[i], x[i], n, main);
        for (std::size_t c = 0; c < C; ++c)
            std::copy(main, main + n, t[c]);
        for (unsigned i = e.n_main + 1; i < r; ++i) {
            double const x_mean = e.means[e.product_at(i)];
            for (std::size_t s = 0; s < n; ++s)
                centred[s] = x[i][s] - x_mean;
            for (std::size_t c = 0; c < C; ++c)
                add_scaled(theta[i] * y(c, i), centred, n, t[c]);
        }
        for (std::size_t c = 0; c < C; ++c)
            std::transform(t[c], t[c] + n, t[c], [](double z) { return std::exp(z); });
    }

    // a and u. Returns SUCCESS, or the status of the first subject whose a is not finite.
    int normalise(std::size_t first, std::size_t n, double* a) {
        auto const lower = std::lower_bound(e.without_pair.begin(), e.without_pair.end(), first);
        auto const upper = std::lower_bound(lower, e.without_pair.end(), first + n);
        for (auto s = lower; s != upper; ++s)
            for (std::size_t c = 0; c < C; ++c)
                t[c][*s - first] = 0;
        double const* const A = W + layout.a0;
        std::fill(a, a + n, A[0]);
        for (std::size_t c = 0; c < C; ++c)
            add_scaled(A[c + 1], t[c], n, a);
        double const* const bad =
            std::find_if(a, a + n, [](double value) { return !std::isfinite(value); });
        if (bad != a + n) return finite_status(*bad);
        double* const inverse = work[0];
        for (std::size_t s = 0; s < n; ++s)
            inverse[s] = 1 / a[s];
        for (auto s = lower; s != upper; ++s) {
            a[*s - first] = 1;
            inverse[*s - first] = 0;
        }
        for (std::size_t s = 0; s < n; ++s)
            u[0][s] = A[0] * inverse[s];
        for (std::size_t c = 0; c < C; ++c)
            for (std::size_t s = 0; s < n; ++s)
                u[c + 1][s] = A[c + 1] * t[c][s] * inverse[s];
        return SUCCESS;
    }

    // P and UU: probabilities sum to 1.
    void add_products(std::size_t n, class_sums<double> const& sums) {
        for (std::size_t k = 0; k <= C; ++k)
            for (std::size_t l = 0; l <= k; ++l) {
                double const uu = dot(u[k], u[l], n);
                sums.UU[k * (C + 1) + l] += uu;
                sums.P[k] += uu;
                if (l == k) continue;
                sums.UU[l * (C + 1) + k] += uu;
                sums.P[l] += uu;
            }
    }

    // P and the outer products of the subjects' mean plain designs.
    void add_means(std::size_t n, class_sums<double> const& sums) {
        for (std::size_t k = 0; k <= C; ++k)
            sums.P[k] += dot(u[k], ones.data(), n);
        for (std::size_t i = 0; i < q; ++i) {
            std::fill(plain[i], plain[i] + n, 0.0);
            for (std::size_t k = 0; k <= C; ++k)
                if (double const m = mu[k * q + i]) add_scaled(m, u[k], n, plain[i]);
            for (std::size_t j = 0; j <= i; ++j)
                W[layout.means + i * q + j] += dot(plain[i], plain[j], n);
        }
    }

    // The block's part in the sums of the joint distribution, in hh and in the score. Deviations
    // from the mean sum to 0, which yields what concerns the controls.
    void add_joint(std::size_t n) {
        class_sums<double> const sums(W + layout.joint, C + 1, !layout.has_means);
        if (layout.has_means)
            add_means(n, sums);
        else
            add_products(n, sums);
        for (std::size_t i = 0; i < r; ++i) {
            double* const m = mean[i];
            std::fill(m, m + n, 0.0);
            for (std::size_t c = 0; c < C; ++c)
                if (y(c, i) != 0) add_scaled(y(c, i), u[c + 1], n, m);
            if (i != 0) multiply(m, x[i], n, m);
            g[i] -= dot(m, ones.data(), n);
            sums.Uh[i] -= add_deviations(i, n, sums.Uh + i);
            add_covariances(i, n);
        }
    }

    // Sums over the subjects of u_c (h_ci - mean_i) for all classes; returns their total. Where x_i
    // is the same in all classes the deviation is u_0 x_i.
    double add_deviations(std::size_t i, std::size_t n, double* Uh) {
        bool const is_alike = i <= e.n_main;
        if (is_alike) multiply(u[0], x[i], n, work[0]);
        double total = 0;
        for (std::size_t c = 0; c < C; ++c) {
            // Most classes leave most interactions out.
            double const code = y(c, i);
            if (!is_alike && code != 0)
                for (std::size_t s = 0; s < n; ++s)
                    work[0][s] = code * x[i][s] - mean[i][s];
            double const deviation =
                is_alike || code != 0 ? dot(u[c + 1], work[0], n) : -dot(u[c + 1], mean[i], n);
            Uh[(c + 1) * r] += deviation;
            total += deviation;
        }
        return total;
    }

    // Covariances of h_i and h_j for j <= i: sum of u_c h_ci h_cj - mean_i mean_j. Where h_j is
    // x_j in all classes that is x_j u_0 mean_i. Terms that are the same for all subjects get the
    // very same numbers, which lets a singular matrix be seen.
    void add_covariances(std::size_t i, std::size_t n) {
        double* const row = W + layout.hh + i * r;
        multiply(u[0], mean[i], n, work[0]);
        for (std::size_t j = 0; j <= i; ++j) {
            if (j <= e.n_main) {
                row[j] += dot(work[0], x[j], n);
                continue;
            }
            std::fill(work[1], work[1] + n, 0.0);
            for (std::size_t c = 0; c < C; ++c)
                if (y(c, i) * y(c, j) != 0) add_scaled(y(c, i) * y(c, j), u[c + 1], n, work[1]);
            multiply(work[1], x[i], n, work[1]);
            row[j] += dot(work[1], x[j], n) - dot(mean[i], mean[j], n);
        }
    }

    // The sums over the cases of one class per genotype, which no parameter changes.
    void add_certain() {
        for (std::size_t i = 0; i < r; ++i)
            g[i] += e.certain[i];
        for (unsigned k = 0; k < sample.genotypes.size(); ++k)
            if (e.n_local(k) == 1) {
                class_sums<double> const sums(W + layout.observed[k], 1);
                sums.P[0] = sums.UU[0] = sample.genotypes[k].subjects[1];
            }
    }

    // The part of a case of several classes, at place s of the block, in the sums given its
    // genotype, in hh and in the score: only the interactions vary. Returns b.
    double add_given(std::size_t s, unsigned genotype) {
        double const* const B = W + layout.B[genotype];
        unsigned const* const local = &e.local[e.first[genotype]];
        unsigned const m = e.n_local(genotype);
        class_sums<double> const sums(W + layout.observed[genotype], m);
        double b = 0;
        for (unsigned l = 0; l < m; ++l)
            b += v[l] = B[l] * t[local[l]][s];
        for (unsigned l = 0; l < m; ++l) {
            v[l] /= b;
            sums.P[l] += v[l];
            for (unsigned k = 0; k <= l; ++k) {
                sums.UU[l * m + k] += v[l] * v[k];
                if (k < l) sums.UU[k * m + l] += v[l] * v[k];
            }
        }
        for (std::size_t i = 0; i <= e.n_main; ++i)
            g[i] += x[i][s];
        for (std::size_t i = e.n_main + 1; i < r; ++i) {
            v_mean[i] = 0;
            for (unsigned l = 0; l < m; ++l)
                v_mean[i] += v[l] * y(local[l], i);
            g[i] += x[i][s] * v_mean[i];
            for (unsigned l = 0; l < m; ++l)
                sums.Uh[l * r + i] += v[l] * x[i][s] * (y(local[l], i) - v_mean[i]);
            for (std::size_t j = e.n_main + 1; j <= i; ++j) {
                double moment = 0;
                for (unsigned l = 0; l < m; ++l)
                    moment += v[l] * y(local[l], i) * y(local[l], j);
                W[layout.hh_given + i * r + j] +=
                    x[i][s] * x[j][s] * (moment - v_mean[i] * v_mean[j]);
            }
        }
        return b;
    }

    // b of a subject at place s of the block.
    double genotype_term(std::size_t subject, std::size_t s) {
        unsigned const genotype = data.genotypes[subject], m = e.n_local(genotype);
        if (m == 0) return 1;
        if (data.status[subject] == 0) return b0[genotype];
        if (m > 1) return add_given(s, genotype);
        return W[layout.B[genotype]] * t[e.local[e.first[genotype]]][s];
    }
};

} // namespace

int sweep_subjects(exposures const& data, pair_sample const& sample, environment const& e,
                   environment_layout const& layout, double const* theta, double const* b0,
                   std::vector<double> const& mu, double* W, double* a, double* b,
                   double* g_theta) {
    sweep over(data, sample, e, layout, theta, b0, mu, W, g_theta);
    over.add_certain();
    for (std::size_t first = 0; first < data.n_subjects; first += BLOCK) {
        std::size_t const n = std::min(BLOCK, data.n_subjects - first);
        over.point_at(first);
        over.exponentiate(n);
        int const status = over.normalise(first, n, a + first);
        if (status != SUCCESS) return status;
        over.add_joint(n);
        for (std::size_t s = 0; s < n; ++s)
            b[first + s] = over.genotype_term(first + s, s);
    }
    return SUCCESS;
}

namespace {

// Adds ln of many factors: multiplies them and takes the logarithm of the product before it can
// overflow, which costs one logarithm for many factors of usual size.
struct log_sum {
    double product = 1, sum = 0;

    static bool is_usual(double factor) { return factor > 0x1p-255 && factor < 0x1p255; }
    void add(double factor) {
        if (!is_usual(factor)) {
            sum += std::log(factor);
            return;
        }
        product *= factor;
        if (!is_usual(product)) {
            sum += std::log(product);
            product = 1;
        }
    }
    double total() const { return sum + std::log(product); }
};

} // namespace

double subjects_llh(unsigned n, double const* a, double const* b) {
    log_sum terms, normalisers;
    for (unsigned s = 0; s < n; ++s) {
        terms.add(b[s]);
        normalisers.add(a[s]);
    }
    return terms.total() - normalisers.total();
}
