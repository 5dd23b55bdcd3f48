// Covariate products and classes of pairs.
#include "ggi/environment.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <map>

namespace {

// Product of the subject's covariates that a row lists, up to the first MAX_UINT.
double product(case_control_ggi_data const& data, unsigned const* row, unsigned subject) {
    double x = 1;
    for (; *row != MAX_UINT; ++row)
        x *= data.covariates[*row][subject];
    return x;
}

void fill_products(case_control_ggi_data const& data, environment& e) {
    e.products.resize(std::size_t{data.n_subjects} * e.n_products);
    double* x = e.products.data();
    for (unsigned s = 0; s < data.n_subjects; ++s) {
        for (unsigned r = 0; r < data.n_environment; ++r)
            *x++ = product(data, data.environment[r], s);
        for (unsigned r = 0; r < data.n_interactions; ++r)
            *x++ = product(data, data.interactions[r] + data.n_genes, s);
    }
    std::vector<long double> sums(e.n_products);
    for (std::size_t i = 0; i < e.products.size(); ++i)
        sums[i % e.n_products] += e.products[i];
    for (long double const sum : sums)
        e.means.push_back(static_cast<double>(sum / data.n_subjects));
}

void find_classes(case_control_ggi_data const& data, environment::coding const& code,
                  environment& e) {
    std::map<std::vector<double>, unsigned> known;
    design_vector d;
    for (unsigned i = 0; i < data.n_haplotypes; ++i)
        for (unsigned j = 0; j <= i; ++j) {
            d.clear();
            code(i, j, d);
            std::vector<double> y(e.n_codes);
            d.add_to(1, y.data());
            auto const found = known.emplace(y, static_cast<unsigned>(known.size()));
            if (found.second) e.codes.insert(e.codes.end(), y.begin(), y.end());
            e.of_pair.push_back(found.first->second);
        }
    e.n_classes = static_cast<unsigned>(known.size());
}

void find_local_classes(case_control_ggi_data const& data, environment& e) {
    e.first.push_back(0);
    for (unsigned g = 0; g < data.distinct->count; ++g) {
        auto const begin = static_cast<std::ptrdiff_t>(e.local.size());
        if (haplotype_pair_list const* const pairs = data.distinct->genotypes[g]->pairs)
            for (haplotype_pair const& pair : *pairs) {
                unsigned const c = e.of_pair[triangle(pair.first.position) + pair.second.position];
                if (std::find(e.local.begin() + begin, e.local.end(), c) == e.local.end())
                    e.local.push_back(c);
            }
        e.first.push_back(static_cast<unsigned>(e.local.size()));
    }
}

} // namespace

void environment::fill_designs(double const* x, double* h) const {
    double const* y = codes.data();
    for (unsigned c = 0; c < n_classes; ++c) {
        *h++ = 1;
        h = std::copy(x, x + n_main, h);
        for (unsigned k = 0; k < n_codes; ++k)
            *h++ = *y++ * x[product_of(k)];
    }
}

std::vector<double> environment::mean_interactions(double const* gamma) const {
    std::vector<double> offsets(n_classes);
    for (unsigned c = 0; c < n_classes; ++c)
        for (unsigned k = 0; k < n_codes; ++k)
            offsets[c] += gamma[k] * codes[c * n_codes + k] * means[product_of(k)];
    return offsets;
}

void environment::init(case_control_ggi_data const& data, unsigned per_term, coding const& code) {
    n_main = data.n_environment;
    n_products = n_main + data.n_interactions;
    n_codes = per_term * data.n_interactions;
    fill_products(data, *this);
    find_classes(data, code, *this);
    find_local_classes(data, *this);
}
