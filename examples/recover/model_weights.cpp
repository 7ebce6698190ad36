#include "recover/model_weights.h"

#include <velko/files/model_file.h>
#include <velko/products/model_mapping.h>
#include <velko/reports/program_stop.h>
#include <velko/store/state.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "recover/conjugate_gradients.h"

namespace recover {

using namespace velko;

namespace {

// A cell that no datum feels has no sensitivity; its weight is small, and still one to divide by.
constexpr r8 least_sensitivity = 1e-12;

r8 root_mean_square(std::span<const r8> values) {
  return std::sqrt(dot(values, values) / static_cast<r8>(values.size()));
}

void divide_by_root_mean_square(std::span<r8> weights) {
  const r8 root = root_mean_square(weights);
  for (r8& w : weights) w /= root;
}

}  // namespace

bool file_has_weights() {
  return std::any_of(store.wtz.begin(), store.wtz.end(), [](r8 weight) { return weight != 1; });
}

std::vector<r8> sensitivity_weights(r8 exponent) {
  std::vector<r8> weights(static_cast<std::size_t>(cells.ncell));
  BELOW_TO_ACTIVE(store.gdiag.elements(), weights);
  const r8 least = std::max(least_sensitivity * *std::max_element(weights.begin(), weights.end()),
                            std::numeric_limits<r8>::min());
  for (r8& w : weights) w = std::pow(std::max(w, least), exponent / 4);
  divide_by_root_mean_square(weights);
  return weights;
}

std::vector<r8> focused_weights(std::span<const r8> weights, std::span<const r8> amodel) {
  const r8 a = root_mean_square(amodel);
  std::vector<r8> focused(weights.size());
  for (std::size_t c = 0; c < focused.size(); ++c)
    focused[c] = weights[c] / std::hypot(a, std::max(amodel[c], 0.0));
  divide_by_root_mean_square(focused);
  return focused;
}

void remove_file_weights(array3<r8> model) {
  owned_array3<r8> weights(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  read_cube("VALUE 1", "model of ones", weights, store.wtz.elements(),
            mesh.itop);  // wtz; 1 above the surface
  for (i8 c = 0; c < model.size(); ++c) {
    if (weights.data()[c] == 0) stop_program("recover: a weight of the sensitivity file is 0");
    model.data()[c] /= weights.data()[c];
  }
}

}  // namespace recover
