# Reference values of the prospective effects, from R's haplo.stats: prints tests/scan_effects_reference.h.
#
#   Rscript tests/scan_effects_reference.R > tests/scan_effects_reference.h
#
# haplo.glm on the data sets of scan_reference.R, its EM and its regression with narrow bounds. Values of
# effects that it did not bring to an end (beyond 20, or without a standard error) are NAN.
suppressMessages(library(haplo.stats))

here <- dirname(sub("--file=", "", grep("--file=", commandArgs(), value = TRUE)))
lines <- readLines(file.path(here, "scan_reference.R"))
eval(parse(text = lines[seq_len(grep("^analyse", lines) - 1)])) # data_sets, draw, alleles

values <- function(x) paste(ifelse(is.finite(x), formatC(x, digits = 8, format = "g", width = 1), "NAN"),
                            collapse = ", ")

analyse <- function(name, mode) suppressWarnings({
    set <- data_sets[[name]]
    subjects <- draw(set)
    study <- data.frame(y = subjects$status, subjects$covariates)
    study$snps <- setupGeno(alleles(subjects$snps), miss.val = NA)
    formula <- if (set$adjusted) y ~ snps + X1 + X2 + X3 else y ~ snps
    control <- haplo.glm.control(
        haplo.effect = mode, haplo.freq.min = 0.01, glm.c = glm.control(1e-13, 10000),
        em.c = haplo.em.control(tol = 1e-11, max.iter = 1e6, min.posterior = 0,
                                insert.batch.size = set$snps, n.try = 1))
    fit <- haplo.glm(formula, family = binomial, data = study, na.action = "na.geno.keep",
                     control = control)
    beta <- coef(fit)
    se <- sqrt(diag(fit$var.mat))[seq_along(beta)]
    beta[abs(beta) > 20 | is.nan(se)] <- NA
    se[is.na(beta)] <- NA
    # Codes of rows of haplotypes, allele 2 being the counted one.
    bits <- function(rows) apply(fit$haplo.unique[rows, , drop = FALSE], 1, function(alleles)
        sum((as.integer(alleles) - 1) * 2^((set$snps - 1):0)))
    own <- seq_along(fit$haplo.common) + 1
    last <- length(beta) - 2:0
    cat("    {\"", name, "\", \"", mode, "\", ", bits(fit$haplo.base), ",\n     {",
        values(bits(fit$haplo.common)), "},\n     {", values(beta[own]), "},\n     {",
        values(se[own]), "},\n     {", if (set$adjusted) values(beta[last]), "},\n     {",
        if (set$adjusted) values(se[last]), "}},\n", sep = "")
})

cat("// Made by scan_effects_reference.R with haplo.stats ", format(packageVersion("haplo.stats")), ".\n",
    "#ifndef QUILMAR_TESTS_SCAN_EFFECTS_REFERENCE_H\n#define QUILMAR_TESTS_SCAN_EFFECTS_REFERENCE_H\n\n",
    "#include <cmath>\n#include <cstdint>\n#include <string>\n#include <vector>\n\n",
    "struct effects_reference {\n    std::string data_set, mode;\n    std::uint32_t base;\n",
    "    std::vector<std::uint32_t> bits;\n    std::vector<double> beta, standard_errors;\n",
    "    std::vector<double> covariates, covariate_errors;\n};\n\n",
    "inline std::vector<effects_reference> const effects_references = {\n", sep = "")
for (name in c("balanced", "unequal", "adjusted", "missing", "thousands"))
    for (mode in c("additive", "dominant", "recessive"))
        if (mode != "recessive" || !name %in% c("adjusted", "missing")) # which stop with an error
            analyse(name, mode)
cat("};\n\n#endif\n")
