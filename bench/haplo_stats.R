# Prints the seconds of haplo.em or haplo.glm on a quilmar data file, without the start of R and the
# reading of the file: Rscript haplo_stats.R em|glm FILE THRESHOLD
suppressMessages(library(haplo.stats))

arguments <- commandArgs(trailingOnly = TRUE)
subjects <- read.table(arguments[2], header = TRUE)
snps <- as.matrix(subjects[, grep("^SNP", names(subjects))])
snps[snps > 2] <- NA

# Two columns of alleles per SNP.
alleles <- matrix(NA_integer_, nrow(snps), 2 * ncol(snps))
alleles[, c(TRUE, FALSE)] <- 1L + (snps == 2)
alleles[, c(FALSE, TRUE)] <- 1L + (snps >= 1)

set.seed(1)
if (arguments[1] == "em") {
    seconds <- system.time(haplo.em(alleles, miss.val = NA))
} else {
    frame <- data.frame(status = subjects$STATUS)
    frame$genotypes <- setupGeno(alleles, miss.val = NA)
    control <- haplo.glm.control(haplo.effect = "additive",
                                 haplo.freq.min = as.numeric(arguments[3]))
    seconds <- system.time(haplo.glm(status ~ genotypes, family = binomial, data = frame,
                                     control = control))
}
cat(seconds[["elapsed"]], "\n")
