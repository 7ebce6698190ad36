#include "recover/normal_equations.h"

#include <velko/products/model_mapping.h>
#include <velko/products/products.h>
#include <velko/store/state.h>

namespace recover {

using namespace velko;

namespace {

void divide(std::span<r8> values, std::span<const r8> by) {
  for (std::size_t c = 0; c < values.size(); ++c) values[c] /= by[c];
}

}  // namespace

normal_equations::normal_equations(std::vector<r8> weights)
    : weights_(std::move(weights)), right_hand_side_(weights_.size()) {
  const std::vector<r8> nothing(weights_.size());
  std::vector<r8> data = predicted_data(nothing);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = survey.dobs.data()[i] - data[i];
  GTPROD(right_hand_side_, data);
  divide(right_hand_side_, weights_);
}

void normal_equations::product(r8 mu, std::span<const r8> p, std::span<r8> y) const {
  GTGPROD(model(p), y);
  divide(y, weights_);
  for (std::size_t c = 0; c < y.size(); ++c) y[c] += mu * p[c];
}

std::vector<r8> normal_equations::model(std::span<const r8> p) const {
  std::vector<r8> m(p.begin(), p.end());
  divide(m, weights_);
  return m;
}

std::vector<r8> normal_equations::variable(std::span<const r8> amodel) const {
  std::vector<r8> p(amodel.begin(), amodel.end());
  for (std::size_t c = 0; c < p.size(); ++c) p[c] *= weights_[c];
  return p;
}

// The full mesh is the one shape that both forms of G take and that has room for the fixed cells.
std::vector<r8> predicted_data(std::span<const r8> amodel) {
  std::vector<r8> grid(static_cast<std::size_t>(cells.ntotal)), d(static_cast<std::size_t>(survey.ndata));
  AMODEL_TO_GRID(amodel, grid);
  GPROD(grid, d);
  return d;
}

}  // namespace recover
