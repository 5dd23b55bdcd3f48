// The design of an analysis over several genes: haplotypes over all genes' loci together, their
// parts at each gene, and the terms whose effects are estimated.
//
// The genes' loci are concatenated in gene order, gene 0 in the most significant bits. The record
// owns every array below except where noted.
#ifndef QUILMAR_GGI_GGI_H
#define QUILMAR_GGI_GGI_H

#include "ggi/garray.h"

struct ggi_data {
    double** covariates;      // m arrays of one value per subject
    unsigned* gene_loci;      // k: number of loci of each gene
    unsigned* haplotypes;     // K: codes of the modelled haplotypes, in parameter order
    unsigned** effects;       // E rows of k: required subhaplotype, MAX_UINT where none is
    unsigned** environment;   // G1 rows: indices of covariates, MAX_UINT after the last
    unsigned** interactions;  // G2 rows: k gene entries as in effects, then covariates as above
    unsigned** subhaplotypes; // k rows of K: part of modelled haplotype h at gene j
    garray* distinct;         // the distinct genotypes
    genotype** genotypes;     // n subjects; the objects lie in one block that the first one begins
    unsigned n_parameters;    // p
    unsigned n_covariates;    // m
    unsigned n_haplotypes;    // K
    unsigned n_genes;         // k
    unsigned n_informative;   // subjects whose genotype keeps a pair
    unsigned n_effects;       // E
    unsigned n_environment;   // G1
    unsigned n_interactions;  // G2

    // Sets every member to zero or null.
    void init();
    // For n subjects, m covariates and k genes allocates covariates, gene_loci, genotypes (all
    // unset) and an empty distinct array, and zeroes the counts. Does nothing when n or k is 0.
    void init(unsigned n, unsigned m, unsigned k);
    // Releases what one choice of haplotypes and terms has built: haplotypes, distinct genotypes,
    // terms and subhaplotypes. Subjects and covariates stay.
    void clear();
    // Releases everything but the subjects' genotype objects.
    void free();

    // (Re)builds the subhaplotypes: (code >> loci of the later genes) masked to the gene's loci.
    void subhaplotype_init();
    void subhaplotype_free();
    void effects_free();
    void interactions_free(); // both environment tables
};

// Do the terms involve covariates?
inline bool has_environment(ggi_data const& data) {
    return data.n_environment != 0 || data.n_interactions != 0;
}

#endif
