// What a run tests: subjects, SNPs and windows that its inputs and filters leave.
#ifndef QUILMAR_SCAN_STUDY_H
#define QUILMAR_SCAN_STUDY_H

#include "scan/input/bed_file.h"
#include "scan/input/covariates.h"
#include "scan/input/phenotype.h"
#include "scan/input/snp_table.h"
#include "scan/input/subject_table.h"
#include "scan/input/vcf_file.h"
#include "scan/options.h"
#include "scan/output/run_log.h"
#include "scan/selection/design.h"
#include "scan/selection/snps.h"
#include "scan/selection/subjects.h"
#include "scan/windows/window_list.h"

#include <memory>

namespace scan {

class study {
  public:
    // Reads the inputs and applies the filters, in the order in which the members stand, and tells the
    // log what is left out.
    study(options const& o, run_log& log);

    std::unique_ptr<vcf_file> vcf; // none with PLINK files
    subject_table subjects;
    snp_table snps;
    bed_file bed;
    subject_selection used; // subjects
    null_design design;
    snp_selection selection; // SNPs
    window_list windows;

  private:
    void note_inputs(run_log& log) const;
    std::vector<bool> keep_subjects(options const& o, run_log& log);
    void choose_subjects(options const& o, std::vector<bool> const& is_kept, run_log& log);
    void choose_snps(options const& o, std::vector<bool> const& is_kept, run_log& log);
    void make_windows(options const& o, run_log& log);
};

} // namespace scan

#endif
