// Where the parameters of a likelihood model stand, and the quantities that are reported of them.
//
//   parameters  haplotypes, effects [, kappa, environment terms, interactions]
//   reported    frequencies of all K haplotypes [, rho], then the parameters from the effects on
//
// Under equilibrium the last haplotype is the reference, which has a frequency and no parameter;
// under disequilibrium all have one, and rho is reported beside the frequencies. Either way there is
// one reported quantity more than there are parameters. Under the codominant coding every effect and
// interaction has a second parameter right behind its first.
#ifndef QUILMAR_GGI_ENGINE_PARAMETER_LAYOUT_H
#define QUILMAR_GGI_ENGINE_PARAMETER_LAYOUT_H

struct parameter_layout {
    unsigned n_haplotypes; // K
    bool has_reference;    // equilibrium
    unsigned per_term;     // parameters of an effect or an interaction
    unsigned n_effects;
    unsigned n_environment;
    unsigned n_interactions;

    unsigned n_haplotype_parameters() const { return n_haplotypes - (has_reference ? 1 : 0); }
    bool has_covariates() const { return n_environment + n_interactions != 0; }

    // First parameter of effect e, of kappa, of environment term r and of interaction r.
    unsigned effect(unsigned e) const { return n_haplotype_parameters() + per_term * e; }
    unsigned kappa() const { return effect(n_effects); }
    unsigned environment(unsigned r) const { return kappa() + 1 + r; }
    unsigned interaction(unsigned r) const { return environment(n_environment) + per_term * r; }
    // Number of parameters.
    unsigned count() const { return has_covariates() ? interaction(n_interactions) : kappa(); }

    // Reported quantity of a parameter from the effects on; those of the frequencies are the
    // haplotypes' positions.
    unsigned reported(unsigned parameter) const { return parameter + 1; }
    unsigned rho() const { return n_haplotypes; }
};

#endif
