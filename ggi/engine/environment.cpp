// Covariate products and classes of pairs.
#include "ggi/engine/environment.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <map>

namespace {

// Product of the subject's covariates that a row lists, up to the first MAX_UINT.
double product(exposures const& data, unsigned const* row, unsigned subject) {
    double x = 1;
    for (; *row != MAX_UINT; ++row)
        x *= data.covariates[*row][subject];
    return x;
}

void fill_products(exposures const& data, environment& e) {
    std::size_t const n = data.n_subjects;
    e.products.resize(n * e.n_products);
    double* x = e.products.data();
    for (unsigned r = 0; r < e.n_products; ++r) {
        long double sum = 0;
        for (unsigned s = 0; s < n; ++s)
            sum += * x++ = product(data, data.product(r), s);
        e.means.push_back(static_cast<double>(sum / n));
    }
}

void find_classes(term_table const& interactions, unsigned K, environment& e) {
    std::map<std::vector<double>, unsigned> known;
    design_vector d;
    for (unsigned i = 0; i < K; ++i)
        for (unsigned j = 0; j <= i; ++j) {
            d.clear();
            interactions.list(i, j, 0, d);
            std::vector<double> y(e.n_codes);
            d.add_to(1, y.data());
            auto const found = known.emplace(y, static_cast<unsigned>(known.size()));
            if (found.second) e.codes.insert(e.codes.end(), y.begin(), y.end());
            e.of_pair.push_back(found.first->second);
        }
    e.n_classes = static_cast<unsigned>(known.size());
}

void find_local_classes(pair_sample const& sample, environment& e) {
    e.first.push_back(0);
    for (genotype_pairs const& pairs : sample.genotypes) {
        auto const begin = static_cast<std::ptrdiff_t>(e.local.size());
        for (haplotype_pair const& pair : pairs) {
            unsigned const c = e.of_pair[retrospective::place(pair)];
            if (std::find(e.local.begin() + begin, e.local.end(), c) == e.local.end())
                e.local.push_back(c);
        }
        e.first.push_back(static_cast<unsigned>(e.local.size()));
    }
}

void sum_certain(exposures const& data, environment& e) {
    e.certain.assign(e.n_parameters(), 0.0);
    for (unsigned s = 0; s < data.n_subjects; ++s) {
        unsigned const g = data.genotypes[s];
        if (e.n_local(g) == 0) e.without_pair.push_back(s);
        if (data.status[s] == 0 || e.n_local(g) != 1) continue;
        unsigned const c = e.local[e.first[g]];
        e.certain[0] += 1;
        for (unsigned i = 1; i < e.certain.size(); ++i)
            e.certain[i] += e.coefficient(c, i) *
                            e.products[std::size_t{e.product_at(i)} * data.n_subjects + s];
    }
}

} // namespace

std::vector<double> environment::mean_interactions(double const* gamma) const {
    std::vector<double> of_class(n_classes);
    for (unsigned c = 0; c < n_classes; ++c)
        for (unsigned k = 0; k < n_codes; ++k)
            of_class[c] += gamma[k] * codes[c * n_codes + k] * means[product_of(k)];
    std::vector<double> of_pairs(of_pair.size());
    std::transform(of_pair.begin(), of_pair.end(), of_pairs.begin(),
                   [&](unsigned c) { return of_class[c]; });
    return of_pairs;
}

void environment::init(exposures const& data, unsigned K, pair_sample const& sample) {
    n_main = data.n_environment;
    n_products = n_main + data.interactions.n_terms;
    n_codes = data.interactions.code.per_term() * data.interactions.n_terms;
    fill_products(data, *this);
    find_classes(data.interactions, K, *this);
    find_local_classes(sample, *this);
    sum_certain(data, *this);
}
