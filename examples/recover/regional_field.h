/// Regional field: a polynomial in x and y under the data, solved for together with the model.
///
/// What     sum over a + b <= order of c_ab x^a y^b: order 0 a constant, 1 a plane, 2 a parabolic surface; none for -1.
///          Its coefficients are eliminated: for any residual the best polynomial is taken off, by a projection onto
///          what no polynomial can explain
/// Units    nT; x and y are taken from the middle of the survey and divided by its half width
/// Sources  elimination of linear unknowns: G. Golub and V. Pereyra, SIAM J. Numer. Anal. 10 (1973) 413-432,
///          doi 10.1137/0710036
#pragma once

#include "recover/vectors.h"

namespace recover {

class regional_field {
 public:
  explicit regional_field(velko::i4 order);

  /// The weights with which residuals come, one for each datum: 1 / deviation, 0 for a datum that does not count.
  void set_weights(view weights);

  /// Takes the best polynomial off a weighted residual.
  void project(std::span<velko::r8> weighted_residual) const;

  /// The best polynomial for an unweighted residual, at every datum.
  values fitted_to(view residual) const;

 private:
  std::vector<values> monomials_;  // (ndata) each
  values weights_;                 // (ndata)
  std::vector<values>
      orthonormal_;  // the weighted monomials made orthonormal; those that add nothing are left out
};

}  // namespace recover
