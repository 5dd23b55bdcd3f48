# Reference values of the score test, from R's haplo.stats and glm: prints tests/scan_reference.h.
#
#   Rscript tests/scan_reference.R > tests/scan_reference.h
#
# The data sets are those of tests/scan_data.h, drawn again here from the same numbers. Of each, haplo.score
# as it is, and the test with the variance X'WX of the expected copies in place of its own, from the
# posterior probabilities of haplo.em. At last R's score test of glm where subjects are left out.
suppressMessages(library(haplo.stats))

least <- 0.01 # frequency of a tested haplotype

data_sets <- list(
    balanced = list(snps = 4, controls = 300, cases = 300, missing = 0, adjusted = FALSE,
                    haplotypes = c(0, 3, 1, 2, 12), control = c(400, 650, 800, 920, 1000),
                    case = c(340, 560, 790, 930, 1000)),
    unequal = list(snps = 4, controls = 200, cases = 400, missing = 0.06, adjusted = FALSE,
                   haplotypes = c(0, 3, 1, 2, 12), control = c(400, 650, 800, 920, 1000),
                   case = c(340, 560, 790, 930, 1000)),
    adjusted = list(snps = 5, controls = 300, cases = 300, missing = 0, adjusted = TRUE,
                    haplotypes = c(31, 4, 19, 12, 0, 8, 27),
                    control = c(330, 560, 760, 900, 980, 993, 1000),
                    case = c(330, 500, 700, 880, 980, 993, 1000)),
    missing = list(snps = 8, controls = 600, cases = 200, missing = 0.05, adjusted = TRUE,
                   haplotypes = c(0, 131, 69, 30, 177, 88, 212, 255, 102),
                   control = c(300, 520, 680, 800, 880, 940, 970, 990, 1000),
                   case = c(250, 420, 600, 800, 880, 940, 970, 990, 1000)),
    thousands = list(snps = 5, controls = 1400, cases = 1600, missing = 0.02, adjusted = TRUE,
                     haplotypes = c(0, 31, 7, 25, 10, 20, 12, 1, 16, 28),
                     control = c(250, 430, 570, 680, 770, 850, 910, 950, 980, 1000),
                     case = c(240, 440, 590, 690, 770, 850, 910, 950, 980, 1000)),
    cohort = list(snps = 5, controls = 60000, cases = 40000, missing = 0.02, adjusted = TRUE,
                  haplotypes = c(0, 31, 7, 25, 10, 20, 12, 1, 16, 28),
                  control = c(250, 430, 570, 680, 770, 850, 910, 950, 980, 1000),
                  case = c(250, 434, 573, 681, 770, 850, 910, 950, 980, 1000)))

draw <- function(set) {
    n <- set$controls + set$cases
    state <- 1
    uniform <- function() {
        state <<- (state * 16807) %% 2147483647
        state / 2147483647
    }
    status <- rep(0:1, c(set$controls, set$cases))
    snps <- matrix(0L, n, set$snps)
    covariates <- matrix(0, n, 3)
    shifts <- (set$snps - 1):0
    for (i in 1:n) {
        cumulative <- if (status[i] == 1) set$case else set$control
        first <- sum(1000 * uniform() >= cumulative) + 1
        second <- sum(1000 * uniform() >= cumulative) + 1
        pair <- set$haplotypes[c(first, second)]
        copies <- (pair[1] %/% 2^shifts) %% 2 + (pair[2] %/% 2^shifts) %% 2
        for (l in 1:set$snps) if (uniform() < set$missing) copies[l] <- NA
        snps[i, ] <- copies
        covariates[i, 1] <- uniform() + uniform() + 0.25 * status[i]
        covariates[i, 2] <- uniform() < 0.5
        covariates[i, 3] <- uniform() + 0.25 * ((first == 1) + (second == 1))
    }
    list(status = status, snps = snps, covariates = covariates)
}

# Allele 2 is the counted one.
alleles <- function(snps) {
    result <- matrix(NA_integer_, nrow(snps), 2 * ncol(snps))
    result[, c(TRUE, FALSE)] <- 1L + (snps == 2)
    result[, c(FALSE, TRUE)] <- 1L + (snps >= 1)
    result
}

analyse <- function(name, set) {
    subjects <- draw(set)
    y <- subjects$status
    genotypes <- alleles(subjects$snps)
    control <- haplo.em.control(tol = 1e-11, max.iter = 1e6, min.posterior = 0,
                                insert.batch.size = set$snps, n.try = 1)
    Z <- cbind(rep(1, length(y)), if (set$adjusted) subjects$covariates)
    null <- glm(y ~ Z - 1, family = binomial, control = glm.control(epsilon = 1e-14))
    score <- haplo.score(y, genotypes, trait.type = "binomial", miss.val = NA, skip.haplo = least,
                         x.adj = if (set$adjusted) subjects$covariates else NA,
                         em.control = control)

    em <- haplo.em(genotypes, miss.val = NA, control = control)
    tested <- which(em$hap.prob >= least)
    X <- sapply(tested, function(h)
        rowsum(((em$hap1code == h) + (em$hap2code == h)) * em$post, em$indx.subj))
    mu <- fitted(null)
    w <- mu * (1 - mu)
    U <- drop(crossprod(X, y - mu))
    V <- crossprod(X, w * X) -
        crossprod(X, w * Z) %*% solve(crossprod(Z, w * Z), crossprod(Z, w * X))
    rest <- -which.max(em$hap.prob[tested])
    chisq <- drop(U[rest] %*% solve(V[rest, rest], U[rest]))

    bits <- drop((as.matrix(sapply(em$haplotype, as.integer))[tested, ] - 1) %*%
                 2^((set$snps - 1):0))
    values <- function(x) paste(formatC(x, digits = 10, format = "g"), collapse = ", ")
    cat("    {\"", name, "\",\n     {", values(bits), "},\n",
        "     {", values(em$hap.prob[tested]), "},\n",
        "     {", values(score$score.haplo), "},\n     ", values(score$score.global), ", ", score$df,
        ",\n     {", values(U / sqrt(diag(V))), "},\n     ", values(chisq), ",\n     {",
        values(coef(null)), "},\n     {", values(sqrt(diag(vcov(null)))), "}},\n", sep = "")
}

cat("// Made by scan_reference.R with haplo.stats ", format(packageVersion("haplo.stats")),
    ". The tested haplotypes of every data set.\n",
    "#ifndef QUILMAR_TESTS_SCAN_REFERENCE_H\n#define QUILMAR_TESTS_SCAN_REFERENCE_H\n\n",
    "#include <cstdint>\n#include <string>\n#include <vector>\n\n",
    "struct scan_reference {\n    std::string data_set;\n    std::vector<std::uint32_t> bits;\n",
    "    std::vector<double> frequencies;\n    std::vector<double> haplo_score; // z\n",
    "    double haplo_score_global;\n    unsigned haplo_score_df;\n",
    "    std::vector<double> z; // with the variance of the expected copies\n",
    "    double chisq; // without the most frequent haplotype\n",
    "    std::vector<double> coefficients; // of the null model, the intercept first\n",
    "    std::vector<double> standard_errors;\n};\n\n",
    "inline std::vector<scan_reference> const scan_references = {\n", sep = "")
for (name in names(data_sets)) analyse(name, data_sets[[name]])
cat("};\n\n")

# The score test of each SNP by glm in the subjects who have it, when of all SNPs some miss by status y,
# number k in the group and covariates z.
misses <- list(controls = function(y, k, z) y == 0 & k %% 10 > 0,
               cases = function(y, k, z) y == 1 & k %% 2 == 0,
               old_controls = function(y, k, z) y == 0 & z[, 1] > 1.2,
               one_sex = function(y, k, z) z[, 2] == 1,
               few_of_many = function(y, k, z) k %% 200 == 7)

score_glm <- function(name, adjusted) {
    subjects <- draw(data_sets[[if (name == "few_of_many") "cohort" else "thousands"]])
    y <- subjects$status
    out <- misses[[name]](y, ave(y, y, FUN = seq_along) - 1, subjects$covariates)
    z <- apply(subjects$snps, 2, function(x) {
        kept <- !out & !is.na(x)
        d <- data.frame(y = y, subjects$covariates)[kept, if (adjusted) 1:4 else 1, drop = FALSE]
        fit <- function(d) glm(y ~ ., binomial, d, control = glm.control(epsilon = 1e-14))
        full <- fit(cbind(d, x = x[kept]))
        sign(coef(full)["x"]) * sqrt(anova(fit(d), full, test = "Rao")$Rao[2])
    })
    cat("    {\"", name, "\", ", if (adjusted) "true" else "false", ",\n     {",
        paste(formatC(z, digits = 10, format = "g"), collapse = ", "), "}},\n", sep = "")
}

cat("// z of every SNP in the subjects who have it.\nstruct left_out_reference {\n",
    "    std::string who;\n    bool adjusted;\n    std::vector<double> z;\n};\n\n",
    "inline std::vector<left_out_reference> const left_out_references = {\n", sep = "")
for (adjusted in c(FALSE, TRUE)) for (name in names(misses)) score_glm(name, adjusted)
cat("};\n\n#endif\n")
