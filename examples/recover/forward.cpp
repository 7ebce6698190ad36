#include "recover/forward.h"

#include <velko/products/model_mapping.h>
#include <velko/products/products.h>
#include <velko/store/state.h>

namespace recover {

using namespace velko;

namespace {

values of_active_cells(view below_surface) {
  values active(static_cast<std::size_t>(cells.ncell));
  BELOW_TO_ACTIVE(below_surface, active);
  return active;
}

/// The full mesh is the one shape that both forms of G take and that has room for the fixed cells.
values with_fixed_cells(view amodel) {
  values grid(static_cast<std::size_t>(cells.ntotal)), d(static_cast<std::size_t>(survey.ndata));
  AMODEL_TO_GRID(amodel, grid);
  GPROD(grid, d);
  return d;
}

}  // namespace

forward_operator::forward_operator()
    : weights_(of_active_cells(store.wtz.elements())), weighted_(weights_.size()) {
  fixed_ = with_fixed_cells(values(weights_.size()));
  squared_columns_ = times(of_active_cells(store.gdiag.elements()), times(weights_, weights_));
}

void forward_operator::apply(view m, std::span<r8> d) const {
  ++products_;
  weighted_ = times(m, weights_);
  if (store.compressed) return GPROD(weighted_, d);
  const values all = with_fixed_cells(weighted_);
  for (std::size_t i = 0; i < d.size(); ++i) d[i] = all[i] - fixed_[i];
}

void forward_operator::transpose(view d, std::span<r8> m) const {
  ++products_;
  GTPROD(m, d);
  for (std::size_t c = 0; c < m.size(); ++c) m[c] *= weights_[c];
}

}  // namespace recover
