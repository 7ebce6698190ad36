#include "recover/regional_field.h"

#include <velko/store/state.h>

#include <algorithm>
#include <cmath>

namespace recover {

using namespace velko;

namespace {

values centred(array1<const r8> x) {
  const auto [least, most] = std::minmax_element(x.begin(), x.end());
  const r8 middle = (*least + *most) / 2, half = std::max((*most - *least) / 2, 1e-300);
  values out;
  for (const r8 v : x) out.push_back((v - middle) / half);
  return out;
}

}  // namespace

regional_field::regional_field(i4 order) {
  const values x = centred(survey.xobs), y = centred(survey.yobs);
  for (i4 degree = 0; degree <= order; ++degree)
    for (i4 b = 0; b <= degree; ++b) {
      values& term = monomials_.emplace_back();
      for (std::size_t i = 0; i < x.size(); ++i)
        term.push_back(std::pow(x[i], degree - b) * std::pow(y[i], b));
    }
}

void regional_field::set_weights(view weights) {
  constexpr r8 adds_nothing = 1e-10;
  weights_.assign(weights.begin(), weights.end());
  orthonormal_.clear();
  for (const values& monomial : monomials_) {
    values column = times(monomial, weights_);
    const r8 before = std::sqrt(dot(column, column));
    for (int pass = 0; pass < 2; ++pass) project(column);  // twice is enough for orthogonality to rounding
    const r8 length = std::sqrt(dot(column, column));
    if (length <= adds_nothing * before) continue;
    for (r8& v : column) v /= length;
    orthonormal_.push_back(std::move(column));
  }
}

void regional_field::project(std::span<r8> weighted_residual) const {
  for (const values& column : orthonormal_) add(weighted_residual, -dot(column, weighted_residual), column);
}

values regional_field::fitted_to(view residual) const {
  // The polynomial is wanted at data of weight 0, too: its coefficients by the normal equations of so few unknowns.
  const std::size_t n = monomials_.size();
  std::vector<values> equations(n, values(n + 1));
  for (std::size_t a = 0; a < n; ++a) {
    const values weighted = times(times(monomials_[a], weights_), weights_);
    for (std::size_t b = 0; b < n; ++b) equations[a][b] = dot(weighted, monomials_[b]);
    equations[a][n] = dot(weighted, residual);
  }
  for (std::size_t a = 0; a < n; ++a) {
    if (equations[a][a] <= 0) continue;
    for (std::size_t b = 0; b < n; ++b) {
      if (a == b) continue;
      const r8 factor = equations[b][a] / equations[a][a];
      add(equations[b], -factor, equations[a]);
    }
  }
  values field(residual.size());
  for (std::size_t a = 0; a < n; ++a)
    if (equations[a][a] > 0) add(field, equations[a][n] / equations[a][a], monomials_[a]);
  return field;
}

}  // namespace recover
