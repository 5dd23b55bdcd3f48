// The maximum of a disequilibrium model, rho = 0 included (docs/methods.md, section 14).
#ifndef QUILMAR_GGI_RHO_CLIMB_H
#define QUILMAR_GGI_RHO_CLIMB_H

#include "ggi/case_control_ggi_safeguarded.h"
#include "ggi/engine/profile.h"
#include "ggi/fitted_model.h"

// Is rho above 0? Then m, a disequilibrium model that has been set up, is at its maximum after. If
// not, the result's status says that rho is 0 (SUCCESS), with m at the equilibrium fit, or that it has
// not been found out (NOT_CONVERGED). equilibrium: the fit of the same record; frequencies: by haplotype code. Adds to
// the result's iterations and fills its score, ratio and p of rho.
bool climb_rho(fitted_model const& equilibrium, double const* frequencies, fitted_model& m,
               safeguarded_result& result);

// Sets the likelihood ratio of rho, above 0, and its p.
void set_rho_ratio(double ratio, safeguarded_result& result);

// The starts that rho has in m, which climb_rho has left.
restart starts_of_rho(fitted_model const& m);

#endif
