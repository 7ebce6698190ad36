/// Model norm: what a model should be where the data leave a choice: close to the reference, and smooth.
///
/// What     |u|^2 = sum of w^2 u^2 dV + sum over x, y, z of L^2 times the sum of w^2 (du/dx)^2 dV, u = m - reference; a
///          difference is taken between active cells that share a face, divided by the distance of their centres, and
///          its volume is face times distance. So the norm is that of a function of space: halving the cells does not
///          change it
/// Weights  w^2 of a cell, for each of its volume: by sensitivity, the root of the sum of squares of its column of G over
///          its volume, which is how strongly a piece of it is felt; by depth, (depth + z0)^-3, z0 the mean height of the
///          stations above ground; or 1. Scaled so that the largest is 1, and no less than 0.03 of that:
///          what is felt less is not for free. Cells beside the survey have 1: there the data can't tell a body from a
///          trend
/// Lengths  L in metres: the larger, the smoother
/// Sources  Y. Li and D. Oldenburg, Geophysics 61 (1996) 394-408, doi 10.1190/1.1443968 (objective, depth weights);
///          Geophysics 65 (2000) 540-552, doi 10.1190/1.1444749 (weights by sensitivity)
#pragma once

#include <array>

#include "recover/vectors.h"

namespace recover {

enum class weighting { sensitivity, depth, none };

class model_norm {
 public:
  model_norm(weighting kind, view squared_columns, std::array<velko::r8, 3> lengths);

  /// y += a H u, with |u|^2 = u' H u.
  void add_product(velko::r8 a, view u, std::span<velko::r8> y) const;

  view diagonal() const { return diagonal_; }
  velko::r8 squared(view u) const;

  /// The volume of each active cell.
  view volumes() const { return volumes_; }

 private:
  struct bond {  // between two active cells that share a face
    velko::i4 a, b;
    velko::r8 weight;
  };

  void add_bonds(view w2, std::array<velko::r8, 3> lengths);

  values volumes_, smallness_, diagonal_;
  std::vector<bond> bonds_;
};

}  // namespace recover
