// The environment models: derivatives.
#include "examples/simulation.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "tests/derivatives.h"

TEST(environment, derivatives_and_standard_errors) {
    // Several effects, main effects and products, interactions of one gene and of both.
    simulation two = two_genes();
    two.controls = two.cases = 100;
    two.missing = 0.05;
    two.rho = 0.15;
    two.covariates = {{0.4, 0.5}, {0, 0.3}};
    std::string const text = simulate(two, 2);
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const spec = std::string("STATUS=2\nGENE=3 4 5\nGENE=6 7 8 9\n") +
                                 "ENVIRONMENT=10 11\nSAMPLE=combined\nTHRESHOLD=0.02\n" +
                                 "EFFECT=3 -1 -1 -1\nEFFECT=5 6 -1 -1\nEFFECT=-1 -1 1 -1\n"
                                 "EFFECT=-1 -1 1 1\nEFFECT=3 -1 1 -1\nEFFECT=5 0 -1 1\nMODEL=" +
                                 mode + "\n";
        study const hwq(text, spec);
        expect_derivatives<case_control_ggi_hwqx>(hwq);
        expect_standard_errors<case_control_ggi_hwqx>(hwq);
        study const hwd(text, spec + "HW=HWD\n");
        expect_derivatives<case_control_ggi_hwdx>(hwd);
        expect_standard_errors<case_control_ggi_hwdx>(hwd);
    }
}
