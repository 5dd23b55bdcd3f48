// Design vectors of the equilibrium models: x_0 .. x_(K-2) for the haplotypes but the reference K -
// 1, then the effects.
#ifndef QUILMAR_GGI_HWQ_DESIGNS_H
#define QUILMAR_GGI_HWQ_DESIGNS_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/design.h"

// Copies of every haplotype but the reference in the pair.
inline void list_hwq_haplotypes(case_control_ggi_data const& data, unsigned i, unsigned j,
                                design_vector& d) {
    unsigned const reference = data.n_haplotypes - 1;
    if (i == j) {
        if (i != reference) d.add(i, 2);
    } else {
        if (i != reference) d.add(i, 1);
        if (j != reference) d.add(j, 1);
    }
}

// Design vectors by status for the sums of retrospective.h: controls have no effect part, cases
// that of likelihood::model.
template <typename likelihood> class hwq_designs {
  public:
    static constexpr bool homozygotes = false;

    hwq_designs(case_control_ggi_data const& analysis, unsigned subject_status)
        : data(analysis), status(subject_status) {}

    void add(double w, bool, unsigned i, unsigned j, double* v) {
        if (status != 0)
            likelihood::model->cw(data, w, i, j, v);
        else
            list(i, j).add_to(w, v);
    }
    void add_moments(double w, bool, unsigned i, unsigned j, double* v, double* M) {
        if (v != nullptr) add(w, false, i, j, v);
        if (status != 0)
            likelihood::model->cj(data, w, i, j, M);
        else
            list(i, j).add_product_to(w, M, data.n_parameters);
    }

  private:
    design_vector const& list(unsigned i, unsigned j) {
        d.clear();
        list_hwq_haplotypes(data, i, j, d);
        return d;
    }

    case_control_ggi_data const& data;
    unsigned status;
    design_vector d;
};

#endif
