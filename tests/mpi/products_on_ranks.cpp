/// products_on_ranks FILE MESSAGE_BYTES: loads a sensitivity file spread over ranks, and once more whole on each rank, and
/// compares the products bit for bit. Prints what differs; the exit status is then 1.
///
/// Every datum has the position 0; all cells below the surface are active.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "files/active_cells.h"
#include "mpi/spread_matrix.h"
#include "products/products.h"
#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/problem.h"
#include "store/state.h"

using namespace velko;

namespace {

using values = std::vector<r8>;

values random_values(i8 n, unsigned seed) {
  std::mt19937 generator(seed);
  std::normal_distribution<r8> normal;
  values a(static_cast<std::size_t>(n));
  for (r8& x : a) x = normal(generator);
  return a;
}

bool same_bits(const values& a, const values& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(r8)) == 0);
}

r8 largest_difference(const values& a, const values& b) {
  r8 most = 0, size = 1e-300;
  for (std::size_t k = 0; k < a.size(); ++k) {
    most = std::max(most, std::abs(a[k] - b[k]));
    size = std::max(size, std::abs(b[k]));
  }
  return most / size;
}

struct products {
  values d, m, y;
};

constexpr i8 models = 3;

void make_ready() {
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
}

products alone(const std::string& file) {
  problem whole;
  const problem_scope at(whole);
  getpar(file);
  make_ready();
  products p{values(static_cast<std::size_t>(survey.ndata)), values(static_cast<std::size_t>(cells.ncell)),
             values(static_cast<std::size_t>(cells.ncell))};
  GPROD(random_values(cells.ncell, 1), p.d);
  GTPROD(p.m, random_values(survey.ndata, 2));
  GTGPROD(random_values(cells.ncell, 1), p.y);
  return p;
}

int differences = 0;

void expect(bool holds, const ranks& all, const char* what) {
  if (holds) return;
  ++differences;
  std::printf("rank %d of %d: %s differs\n", all.rank(), all.size(), what);
}

void compare(const ranks& all, const std::string& file) {
  const products wanted = alone(file);
  problem part;
  const problem_scope at(part);
  spread_matrix G(all, file);
  make_ready();
  const values model = random_values(cells.ncell, 1), data = random_values(survey.ndata, 2);
  products p{values(wanted.d.size()), values(wanted.m.size()), values(wanted.y.size())};
  for (int twice = 0; twice < 2; ++twice) {
    G.forward(model, p.d);
    G.adjoint(p.m, data);
    G.normal(model, p.y);
    expect(same_bits(p.d, wanted.d), all, "forward product");
    expect(same_bits(p.m, wanted.m), all, "adjoint product");
    expect(same_bits(p.y, wanted.y), all, "normal product");
  }
  G.adjoint_by_reduction(p.m, data);
  G.normal_by_reduction(model, p.y);
  expect(largest_difference(p.m, wanted.m) < 1e-12, all, "adjoint by reduction");
  expect(largest_difference(p.y, wanted.y) < 1e-12, all, "normal by reduction");

  values many_models, many_data;
  for (i8 l = 0; l < models; ++l) many_models.insert(many_models.end(), model.begin(), model.end());
  for (i8 l = 0; l < models; ++l) many_data.insert(many_data.end(), data.begin(), data.end());
  values d(many_data.size()), m(many_models.size()), y(many_models.size());
  const auto block = [](values& v) { return array2<r8>(v.data(), std::ssize(v) / models, models); };
  const auto given = [](const values& v) {
    return array2<const r8>(v.data(), std::ssize(v) / models, models);
  };
  G.forward_block(given(many_models), block(d));
  G.adjoint_block(block(m), given(many_data));
  G.normal_block(given(many_models), block(y));
  const auto is_repeated = [](const values& many, const values& one) {
    for (std::size_t l = 0; l < models; ++l) {
      const auto from = many.begin() + static_cast<std::ptrdiff_t>(l * one.size());
      if (!same_bits(values(from, from + std::ssize(one)), one)) return false;
    }
    return true;
  };
  expect(is_repeated(d, wanted.d), all, "forward product of a block");
  expect(is_repeated(m, wanted.m), all, "adjoint product of a block");
  expect(is_repeated(y, wanted.y), all, "normal product of a block");

  values too_short(wanted.d.size() + 1);
  const stop_or_done end = run_until_stop([&] { G.forward(model, too_short); });
  expect(end.text == "size(d) /= ndata", all, "stop of a wrong length");
}

}  // namespace

int main(int argc, char** argv) {
  const mpi_session mpi(argc, argv);
  const ranks all;
  if (argc != 3) return 2;
  largest_message() = std::atoll(argv[2]);
  console().close();  // a dense G is warned of
  const stop_or_done end = run_until_stop([&] { compare(all, argv[1]); });
  expect(end.kind == stop_or_done::done, all, end.text.c_str());
  return differences == 0 ? 0 : 1;
}
