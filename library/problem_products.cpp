#include "library/problem_products.h"

#include <functional>

#include "library/call.h"
#include "products/model_mapping.h"
#include "products/products.h"

namespace velko {

namespace {

void check_problem() {
  if (store.Gs.size() == 0 && store.Gfull.extent(2) == 0) stop_program("the problem holds no G");
  if (survey.ndata < 1) stop_program("the survey holds no data");
  if (survey.ndata != store.ndata_mtx) stop_program("ndata /= # of rows");
}

void check_length_of_model(std::span<const r8> m) {
  if (std::ssize(m) != cells.ncell) stop_program("size(m) /= ncell");
}

void check_data(std::span<const r8> d) {
  if (std::ssize(d) != survey.ndata) stop_program("size(d) /= ndata");
}

std::vector<r8> new_model() {
  return std::vector<r8>(static_cast<std::size_t>(cells.ncell));
}

/// A dense GPROD takes no active models, but those on all cells below the surface.
void forward_of_active(std::span<const r8> m, std::span<r8> d) {
  if (store.compressed || cells.ncell == store.ncol) return GPROD(m, d);
  std::vector<r8> below(static_cast<std::size_t>(store.ncol));
  ACTIVE_TO_BELOW(m, below);
  GPROD(below, d);
}

std::vector<r8> formed(problem& p, const std::function<std::vector<r8>()>& product) {
  std::vector<r8> result;
  call(p, [&] {
    check_problem();
    result = product();
  });
  return result;
}

std::vector<r8> forward_in_place(std::span<const r8> m) {
  check_length_of_model(m);
  std::vector<r8> d(static_cast<std::size_t>(survey.ndata));
  forward_of_active(m, d);
  return d;
}

std::vector<r8> weighted(std::span<const r8> m) {
  check_length_of_model(m);
  std::vector<r8> wtz = new_model();
  if (cells.nbelow != store.wtz.size()) stop_program("# of cells below the surface /= size(wtz)");
  BELOW_TO_ACTIVE(store.wtz.elements(), wtz);
  for (std::size_t k = 0; k < wtz.size(); ++k) wtz[k] *= m[k];
  return wtz;
}

}  // namespace

std::vector<r8> forward(problem& p, std::span<const r8> m) {
  return formed(p, [&] { return forward_in_place(m); });
}

std::vector<r8> predicted_data(problem& p, std::span<const r8> susceptibility) {
  return formed(p, [&] { return forward_in_place(weighted(susceptibility)); });
}

std::vector<r8> adjoint(problem& p, std::span<const r8> d) {
  return formed(p, [&] {
    check_data(d);
    std::vector<r8> m = new_model();
    GTPROD(m, d);
    return m;
  });
}

std::vector<r8> normal(problem& p, std::span<const r8> x) {
  return formed(p, [&] {
    check_length_of_model(x);
    std::vector<r8> y = new_model();
    GTGPROD(x, y);
    return y;
  });
}

}  // namespace velko
