# haplo.score.slide over windows of 5 SNPs: Rscript haplo_slide.R FILE, FILE from plink2 --export A
suppressMessages(library(haplo.stats))

raw <- read.table(commandArgs(trailingOnly = TRUE)[1], header = TRUE)
copies <- as.matrix(raw[, -(1:6)])
alleles <- matrix(NA_integer_, nrow(copies), 2 * ncol(copies))
alleles[, c(TRUE, FALSE)] <- 1L + (copies == 2)
alleles[, c(FALSE, TRUE)] <- 1L + (copies >= 1)
slide <- haplo.score.slide(raw$PHENOTYPE - 1, alleles, trait.type = "binomial", n.slide = 5,
                           miss.val = NA)
cat(nrow(slide$df), "\n")
