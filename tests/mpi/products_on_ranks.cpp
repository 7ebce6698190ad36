/// products_on_ranks FILE MESSAGE_BYTES: loads a sensitivity file spread over ranks, and once more whole on each rank, and
/// compares the products bit for bit. Prints what differs; the exit status is then 1.
///
/// Every datum has the position 0; all cells below the surface are active.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <span>
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

bool same_bits(std::span<const r8> a, std::span<const r8> b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size_bytes()) == 0);
}

r8 largest_difference(std::span<const r8> a, std::span<const r8> b) {
  r8 most = 0, size = 1e-300;
  for (std::size_t k = 0; k < a.size(); ++k) {
    most = std::max(most, std::abs(a[k] - b[k]));
    size = std::max(size, std::abs(b[k]));
  }
  return most / size;
}

/// Vectors of several models, one behind another: zeros, or random with a seed.
struct block {
  i8 length, count;
  values elements;

  block(i8 length, i8 count, unsigned seed = 0)
      : length(length),
        count(count),
        elements(seed == 0 ? values(static_cast<std::size_t>(length * count))
                           : random_values(length * count, seed)) {}
  array2<r8> all() { return array2<r8>(elements.data(), length, count); }
  array2<const r8> given() const { return array2<const r8>(elements.data(), length, count); }
  std::span<r8> first(i8 vectors) {
    return std::span(elements).first(static_cast<std::size_t>(vectors * length));
  }
  std::span<r8> one(i8 l) { return {elements.data() + l * length, static_cast<std::size_t>(length)}; }
};

// Passes of four and of three, or of one.
constexpr i8 models = 7;

struct products {
  block d{survey.ndata, models}, m{cells.ncell, models}, y{cells.ncell, models};
};

void make_ready() {
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
}

products alone(const std::string& file) {
  problem whole;
  const problem_scope at(whole);
  getpar(file);
  make_ready();
  products p;
  block model(cells.ncell, models, 1), data(survey.ndata, models, 2);
  for (i8 l = 0; l < models; ++l) {
    GPROD(model.one(l), p.d.one(l));
    GTPROD(p.m.one(l), data.one(l));
    GTGPROD(model.one(l), p.y.one(l));
  }
  return p;
}

int differences = 0;

void expect(bool holds, const ranks& all, const char* what) {
  if (holds) return;
  ++differences;
  std::printf("rank %d of %d: %s differs\n", all.rank(), all.size(), what);
}

void compare(const ranks& all, const std::string& file) {
  products wanted = alone(file);
  problem part;
  const problem_scope at(part);
  spread_matrix G(all, file);
  make_ready();
  block model(cells.ncell, models, 1), data(survey.ndata, models, 2);
  for (const i8 l : {i8{0}, models - 1}) {
    block d(survey.ndata, 1), m(cells.ncell, 1), y(cells.ncell, 1);
    G.forward(model.one(l), d.one(0));
    G.adjoint(m.one(0), data.one(l));
    G.normal(model.one(l), y.one(0));
    expect(same_bits(d.one(0), wanted.d.one(l)), all, "forward product");
    expect(same_bits(m.one(0), wanted.m.one(l)), all, "adjoint product");
    expect(same_bits(y.one(0), wanted.y.one(l)), all, "normal product");
  }
  for (const i8 count : {models, i8{2}, i8{0}}) {
    block x(cells.ncell, count), from(survey.ndata, count), d(survey.ndata, count), m(cells.ncell, count),
        y(cells.ncell, count);
    std::copy_n(model.elements.begin(), x.elements.size(), x.elements.begin());
    std::copy_n(data.elements.begin(), from.elements.size(), from.elements.begin());
    G.forward_block(x.given(), d.all());
    G.adjoint_block(m.all(), from.given());
    G.normal_block(x.given(), y.all());
    expect(same_bits(d.elements, wanted.d.first(count)), all, "forward product of a block");
    expect(same_bits(m.elements, wanted.m.first(count)), all, "adjoint product of a block");
    expect(same_bits(y.elements, wanted.y.first(count)), all, "normal product of a block");
  }
  block m(cells.ncell, 1), y(cells.ncell, 1);
  G.adjoint_by_reduction(m.one(0), data.one(0));
  G.normal_by_reduction(model.one(0), y.one(0));
  expect(largest_difference(m.elements, wanted.m.one(0)) < 1e-12, all, "adjoint by reduction");
  expect(largest_difference(y.elements, wanted.y.one(0)) < 1e-12, all, "normal by reduction");

  values too_short(static_cast<std::size_t>(survey.ndata) + 1);
  const auto text_of = [](const std::function<void()>& product) { return run_until_stop(product).text; };
  expect(text_of([&] { G.forward(model.one(0), too_short); }) == "size(d) /= ndata", all, "stop of d");
  expect(text_of([&] { G.adjoint(m.one(0), too_short); }) == "size(d) /= ndata", all,
         "stop of the adjoint's d");
  expect(text_of([&] { G.normal_block(model.given(), y.all()); }) == "size(x) /= size(y)", all,
         "stop of a block");
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
