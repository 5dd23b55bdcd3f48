#include "scan/effects/models.h"

#include "scan/score/tails.h"

#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_safeguarded.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

// The library's record, released with this.
struct record {
    case_control_ggi_data data{};
    record() = default;
    record(record const&) = delete;
    record& operator=(record const&) = delete;
    ~record() { data.free(); }
};

// Every subject with its genotype, status and the covariate that interacts.
void fill_with_subjects(effect_input const& input, window_sample const& sample, unsigned n_snps,
                        case_control_ggi_data& data) {
    data.init(sample.n_subjects, 1, 1);
    data.gene_loci[0] = n_snps;
    data.genotypes[0] = new genotype[sample.n_subjects]();
    data.cases_read = sample.n_cases;
    data.controls_read = sample.n_subjects - sample.n_cases;
    unsigned s = 0;
    for (std::size_t g = 0; g < sample.genotypes.size(); ++g)
        for (std::size_t r = sample.first[g]; r < sample.first[g + 1]; ++r) {
            double const z = sample.covariates(static_cast<Eigen::Index>(r), input.environment);
            for (double copies = sample.subjects[r]; copies > 0; --copies, ++s) {
                genotype_count const& masks = sample.genotypes[g];
                data.genotypes[s] = data.genotypes[0] + s;
                data.genotypes[s]->init(n_snps, masks.missing, masks.twos, masks.ones);
                data.status[s] = sample.signs[r] > 0;
                data.covariates[0][s] = input.environment_mean() + input.environment_unit() * z;
            }
        }
    data.distinct->init(data.genotypes, data.status, data.n_subjects, 101, 0,
                        case_control_ggi_data::MAX_MISSING, true);
}

// Label of every term: a haplotype's own code, or that of the class of all that are neither the
// reference nor a term.
std::vector<unsigned> labels_of(haplotype_terms const& terms, case_control_ggi_data& data) {
    std::vector<unsigned> labels;
    auto const has_name = [&](unsigned bits) {
        return terms.reference.bits == bits ||
               std::any_of(terms.names.begin(), terms.names.end(), [bits](auto const& name) {
                   return name.kind == haplotype_name::one && name.bits == bits;
               });
    };
    for (haplotype_name const& name : terms.names) {
        if (name.kind == haplotype_name::one) {
            labels.push_back(name.bits);
            continue;
        }
        std::vector<unsigned> positions;
        for (unsigned h = 0; h < data.n_haplotypes; ++h)
            if (!has_name(data.haplotypes[h])) positions.push_back(h);
        labels.push_back(pool_haplotypes(data, 0, positions));
    }
    return labels;
}

void set_terms(effect_input const& input, haplotype_terms const& terms,
               case_control_ggi_data& data) {
    std::vector<std::vector<unsigned>> effects, interactions;
    for (unsigned const label : labels_of(terms, data)) {
        effects.push_back({label});
        interactions.push_back({label, 0});
    }
    set_effects(data, effects);
    if (input.has_interaction()) set_interactions(data, {{0}}, interactions);
}

// Effects, then kappa, one covariate and the interactions.
std::size_t n_reported(effect_input const& input, haplotype_terms const& terms) {
    return input.has_interaction() ? 2 * terms.n_codes() + 2 : terms.n_codes();
}

// Place of a row's parameter.
std::size_t place_of(planned_row const& p, haplotype_terms const& terms) {
    return p.code + (p.is_interaction ? terms.n_codes() + 2 : 0);
}

effect_estimate rho_estimate(safeguarded_result const& fit) {
    effect_estimate e;
    e.beta = fit.rho;
    e.standard_error = fit.rho_error;
    e.log_ratio_p = std::log(fit.rho_p);
    choose_p({}, e);
    return e;
}

// What the fit is asked for.
safeguarded_settings settings_of(effect_input const& input, haplotype_terms const& terms,
                                 std::vector<planned_row> const& planned, double quantile) {
    safeguarded_settings settings{input.settings.hw, input.settings.mode, quantile, {}};
    settings.requests.resize(n_reported(input, terms), 0);
    for (planned_row const& p : planned)
        settings.requests[place_of(p, terms)] = requests_of(p.support);
    if (input.has_interaction()) settings.requests[terms.n_codes() + 1] = requests_of({});
    return settings;
}

} // namespace

std::vector<effect_row> estimate_retrospective(effect_input const& input,
                                               window_sample const& sample,
                                               supported_haplotypes const& haplotypes,
                                               haplotype_terms const& terms,
                                               std::vector<planned_row> const& planned) {
    unsigned const n_snps = haplotypes.n_snps;
    record r;
    if (input.has_interaction())
        fill_with_subjects(input, sample, n_snps, r.data);
    else
        r.data.init(sample.genotypes.data(), static_cast<unsigned>(sample.genotypes.size()), 1,
                    &n_snps);
    bool const has_class = !terms.names.empty() && terms.names.back().kind == haplotype_name::rare;
    double const cases = sample.n_cases;
    std::vector<double> const frequencies = start_frequencies(
        sample.genotypes, haplotypes, terms.labels, terms.n_terms() + 1,
        has_class ? terms.n_terms() : 0, by_group{sample.n_subjects - cases, cases});

    double const quantile = normal_quantile((1 + input.settings.level) / 2);
    safeguarded_result fit;
    int status = case_control_ggi_init(r.data, EQUILIBRIUM, 0, frequencies.data());
    if (status == SUCCESS) {
        set_terms(input, terms, r.data);
        status = case_control_ggi_safeguarded(r.data, settings_of(input, terms, planned, quantile),
                                              frequencies.data(), fit);
    }
    std::vector<effect_row> rows;
    auto const add = [&](effect_row const& row, effect_estimate const& estimate) {
        rows.push_back(row);
        rows.back().estimate = estimate;
        if (status != SUCCESS) rows.back().estimate = failed_estimate(effect_code::no_convergence);
    };
    fit.terms.resize(n_reported(input, terms));
    for (planned_row const& p : planned)
        add(p.row, estimate_of(fit.terms[place_of(p, terms)], p.support, quantile));
    if (input.settings.shows_covariates && input.has_interaction())
        add(covariate_row(input.environment_name(), terms),
            estimate_of(fit.terms[terms.n_codes() + 1], support_of_covariate(sample), quantile));
    if (input.settings.hw != EQUILIBRIUM) {
        effect_row row;
        row.test = "RHO";
        row.is_log_ratio = false;
        add(row, rho_estimate(fit));
    }
    return rows;
}

} // namespace scan
