// Design vectors of the disequilibrium models: x_0 .. x_(K-1) for the haplotypes, then the effects.
#ifndef QUILMAR_GGI_HWD_DESIGNS_H
#define QUILMAR_GGI_HWD_DESIGNS_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/design.h"

// Copies of every haplotype in the pair; in a homozygote term haplotype i counts once.
inline void list_hwd_haplotypes(bool homozygote, unsigned i, unsigned j, design_vector& d) {
    if (i == j) {
        d.add(i, homozygote ? 1 : 2);
    } else {
        d.add(i, 1);
        d.add(j, 1);
    }
}

// Design vectors by status for the sums of retrospective.h: controls have no effect part, cases
// that of likelihood::model.
template <typename likelihood> class hwd_designs {
  public:
    static constexpr bool homozygotes = true;

    hwd_designs(case_control_ggi_data const& analysis, unsigned subject_status)
        : data(analysis), status(subject_status) {}

    void add(double w, bool homozygote, unsigned i, unsigned j, double* v) {
        if (status != 0)
            likelihood::model->cw(data, w, homozygote, i, j, v);
        else
            list(homozygote, i, j).add_to(w, v);
    }
    void add_moments(double w, bool homozygote, unsigned i, unsigned j, double* v, double* M) {
        if (status != 0) {
            likelihood::model->cwj(data, w, homozygote, i, j, v, M);
        } else {
            if (v != nullptr) add(w, homozygote, i, j, v);
            list(homozygote, i, j).add_product_to(w, M, data.n_parameters);
        }
    }

  private:
    design_vector const& list(bool homozygote, unsigned i, unsigned j) {
        d.clear();
        list_hwd_haplotypes(homozygote, i, j, d);
        return d;
    }

    case_control_ggi_data const& data;
    unsigned status;
    design_vector d;
};

#endif
