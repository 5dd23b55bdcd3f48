// Values of the settings that analyses take as plain unsigned.
#ifndef QUILMAR_GGI_SETTINGS_H
#define QUILMAR_GGI_SETTINGS_H

// Mode of inheritance.
enum inheritance : unsigned { ADDITIVE = 1, RECESSIVE = 2, DOMINANT = 3, CODOMINANT = 4 };

// Hardy-Weinberg assumption; every value but 0 stands for disequilibrium.
enum hardy_weinberg : unsigned { EQUILIBRIUM = 0, DISEQUILIBRIUM = 3 };

// Whose genotypes give the haplotype frequencies.
enum frequency_sample : unsigned { CONTROLS = 0, CASES = 1, COMBINED = 2 };

#endif
