// Choices of an analysis by name; the functions take them as unsigned.
#ifndef QUILMAR_GGI_SETTINGS_H
#define QUILMAR_GGI_SETTINGS_H

// Any value but EQUILIBRIUM stands for disequilibrium.
enum hardy_weinberg : unsigned { EQUILIBRIUM = 0, DISEQUILIBRIUM = 3 };

enum inheritance : unsigned { ADDITIVE = 1, RECESSIVE = 2, DOMINANT = 3, CODOMINANT = 4 };

// Whose haplotype frequencies are estimated: the multiplicity of a distinct genotype that counts.
enum frequency_sample : unsigned { CONTROLS = 0, CASES = 1, COMBINED = 2 };

#endif
