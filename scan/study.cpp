#include "scan/study.h"

#include "scan/error.h"
#include "scan/output/numbers.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace scan {

namespace {

void note_if(run_log& log, std::size_t n, std::string const& what, std::string const& why) {
    if (n > 0) log.note(counted(n, what) + " left out: " + why + ".");
}

std::string joined(std::vector<std::string> const& names) {
    std::string all;
    for (std::string const& name : names)
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

void warn_if_few(run_log& log, std::size_t n_missing, std::size_t n, std::string const& path) {
    if (2 * n_missing > n)
        log.warn(path + ": has only " + std::to_string(n - n_missing) + " of " +
                 counted(n, "subject") + ". Is it the right file?");
}

// Where a large file may stand that nobody else needs.
std::string temporary_folder(options const& o) {
    char const* const folder = std::getenv("TMPDIR");
    if (folder != nullptr && folder[0] != '\0') return folder;
    std::size_t const slash = o.out.rfind('/');
    return slash == std::string::npos ? "." : o.out.substr(0, slash + 1);
}

phenotype phenotype_of(options const& o, subject_table const& subjects, run_log& log) {
    return o.pheno.empty() ? phenotype_of_fam(subjects, o.is_01)
                           : read_phenotype(o.pheno, o.pheno_name, subjects, o.is_01, log);
}

} // namespace

study::study(options const& o, run_log& log)
    : vcf(o.vcf.empty() ? nullptr : std::make_unique<vcf_file>(o.vcf, temporary_folder(o))),
      subjects(vcf ? vcf->subjects({o.id_delim, o.is_double_id}) : subject_table(o.fam)),
      snps(vcf ? snp_table(o.vcf, *vcf) : snp_table(o.bim)),
      bed(vcf ? vcf->genotypes() : bed_file(o.bed, snps.n_rows(), subjects.size())) {
    note_inputs(log);
    selection = select_snps(snps, o);
    note_if(log, selection.by_place, "SNP", "--chr, --from-bp, --to-bp");
    note_if(log, selection.by_list, "SNP", "--extract, --exclude");
    std::vector<bool> const is_kept = keep_subjects(o, log);
    choose_subjects(o, is_kept, log);
    choose_snps(o, is_kept, log);
    make_windows(o, log);
}

void study::note_inputs(run_log& log) const {
    log.note(counted(subjects.size(), "subject") + " in " + subjects.path() + ", " +
             counted(snps.n_rows(), "SNP") + " in " + snps.path() + ".");
    note_if(log, snps.n_other(), "SNP", "not on chromosomes 1 to 22");
    note_if(log, snps.n_without_place(), "SNP", "negative position");
    if (!vcf) return;
    vcf_counts const& counts = vcf->counts();
    note_if(log, counts.other_chromosomes, "record", "not on chromosomes 1 to 22");
    note_if(log, counts.several_alleles, "record", "more than two alleles");
    note_if(log, counts.no_snps, "record", "no SNP");
    if (counts.half_calls > 0)
        log.note(counted(counts.half_calls, "half call") + " taken for missing.");
    if (counts.other_ploidies > 0)
        log.warn(counted(counts.other_ploidies, "call") +
                 " of another number of alleles than two taken for missing.");
}

std::vector<bool> study::keep_subjects(options const& o, run_log& log) {
    std::vector<bool> is_kept = kept_subjects(subjects, o, log);
    auto const n_kept = [&] { return std::count(is_kept.begin(), is_kept.end(), true); };
    note_if(log, subjects.size() - static_cast<std::size_t>(n_kept()), "subject",
            "--keep, --remove");
    if (o.mind) {
        genotype_counter counter(bed, is_kept);
        std::uint32_t const n = filter_by_missing(snps, selection.used, *o.mind, counter, is_kept);
        note_if(log, n, "subject", "--mind");
    }
    if (n_kept() == 0) throw failure(nothing_to_do, "No subject is left by the filters.");
    return is_kept;
}

void study::choose_subjects(options const& o, std::vector<bool> const& is_kept, run_log& log) {
    phenotype const status = phenotype_of(o, subjects, log);
    covariate_table covariates;
    if (!o.covar.empty())
        covariates = read_covariates(o.covar, o.covar_names, o.covar_categories, subjects, log);
    used = select_subjects(is_kept, status, covariates);
    std::size_t const n_kept = used.used.size() + used.without_phenotype + used.without_covariate;
    if (!o.pheno.empty()) warn_if_few(log, used.not_in_pheno, n_kept, o.pheno);
    for (std::size_t f = 0; f < covariates.files.size(); ++f)
        warn_if_few(log, used.not_in_covar[f], n_kept, covariates.files[f].path);
    note_if(log, used.without_phenotype, "subject", "no phenotype");
    note_if(log, used.without_covariate, "subject", "a covariate is missing");
    log.note("Phenotype " + status.name + ": " + counted(used.n_cases(), "case") + ", " +
             counted(used.used.size() - used.n_cases(), "control") + ".");

    design = make_design(covariates.covariates, used.used);
    for (std::string const& line : design.levels)
        log.note("Categories of " + line + ".");
    if (!design.constant.empty())
        log.warn("Covariates dropped, because they are constant: " + joined(design.constant) + ".");
    if (!design.collinear.empty())
        log.warn("Covariates dropped, because others determine them: " + joined(design.collinear) +
                 ".");
    if (design.names.size() == 1 && !o.covar.empty())
        throw failure(no_fit, joined(o.covar) +
                                  ": no covariate is left. Choose others by --covar-name, or "
                                  "give --allow-no-covars instead of --covar.");
}

void study::choose_snps(options const& o, std::vector<bool> const& is_kept, run_log& log) {
    genotype_counter counter(bed, is_kept);
    filter_by_genotypes(snps, o, counter, selection);
    note_if(log, selection.by_geno, "SNP", "--geno");
    note_if(log, selection.by_maf, "SNP", "--maf");
    if (selection.used.empty()) throw failure(nothing_to_do, "No SNP is left by the filters.");
}

void study::make_windows(options const& o, run_log& log) {
    std::string const& regions = o.regions_file.empty() ? o.gene_list : o.regions_file;
    if (!regions.empty()) {
        region_list const list = o.regions_file.empty()
                                     ? read_genes(o.gene_list, o.genes, o.gene_border_kb)
                                     : read_regions(o.regions_file);
        note_if(log, list.n_other, "region", "not on chromosomes 1 to 22");
        std::optional<sliding_settings> how;
        if (o.slides_in_regions) how = o.windows;
        windows = region_windows(snps, selection.used, list.regions, how);
    } else if (!o.hap_list.empty())
        windows = listed_windows(snps, selection.used, read_snp_lists(o.hap_list));
    else
        windows = sliding_windows(snps, selection.used, o.windows);
    if (windows.n_unused_snps > 0)
        log.warn(counted(windows.n_unused_snps, "SNP") + " of " + o.hap_list +
                 " left out by the filters: their windows are shorter.");
    if (windows.n_unknown_snps > 0)
        log.warn(windows.first_unknown + ". " + counted(windows.n_unknown_snps, "SNP") +
                 " of the list unknown in all, and " + counted(windows.n_unknown_lists, "window") +
                 " without any other left out.");
    if (windows.windows.empty())
        throw failure(nothing_to_do,
                      "There is no window: no chromosome has enough SNPs, or the list "
                      "of regions is empty.");
    log.note(counted(windows.windows.size(), "window") + " of " +
             counted(selection.used.size(), "SNP") + ".");
}

} // namespace scan
