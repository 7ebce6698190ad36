/// Forward: predicted data of a susceptibility, and the transpose.
///
/// What     d = f + G m over the active cells; f is what the cells with fixed values give. The library's G acts on the
///          model times wtz; here m is the susceptibility itself, and wtz is in G
/// Shapes   m(ncell), d(ndata)
/// Counts   the products, forward and adjoint, which are what an inversion's time goes into
#pragma once

#include "recover/vectors.h"

namespace recover {

class forward_operator {
 public:
  /// Asks that active cells and fixed values are set.
  forward_operator();

  /// d = G m, without the fixed cells.
  void apply(view m, std::span<velko::r8> d) const;
  /// m = G' d
  void transpose(view d, std::span<velko::r8> m) const;

  view fixed() const { return fixed_; }
  /// For each active cell, the sum over the data of the squares of its column of G.
  view squared_columns() const { return squared_columns_; }
  velko::i4 products() const { return products_; }

 private:
  values weights_;          // (ncell) wtz
  values fixed_;            // (ndata)
  values squared_columns_;  // (ncell)
  mutable values weighted_;
  mutable velko::i4 products_ = 0;
};

}  // namespace recover
