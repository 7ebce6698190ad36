#include "products/model_block.h"

#include <algorithm>
#include <new>
#include <utility>

#include "arrays/instruction_set.h"
#include "products/coefficients.h"
#include "products/full_rows.h"
#include "products/model_mapping.h"
#include "products/products.h"
#include "products/sparse_rows.h"
#include "reports/program_stop.h"
#include "store/cell_geometry.h"
#include "store/state.h"
#include "threads/team.h"

namespace velko {
namespace {

// How many models go in one pass. Eight take the least time for each where a cache line, eight r8, goes through the
// registers as one (benchmarks/README.md, "products"); narrower registers hold the partial sums of four.
i8 widest_pass() {
  static const i8 widest = best_instruction_set() == instruction_set::avx512 ? 8 : 4;
  return widest;
}

/// So many models lie interleaved in a pass of `count`: some of them zero.
i8 interleaved_for(i8 count) {
  return *std::lower_bound(numbers_of_models.begin(), numbers_of_models.end(), count);
}

/// Models or data from first to first + count - 1 of a block.
template <class number>
array2<number> part_of(array2<number> block, i8 first, i8 count) {
  return array2<number>(block.data() + (first - 1) * block.extent(1), block.extent(1), count);
}

template <class number>
std::span<number> column(array2<number> block, i8 l) {
  return part_of(block, l, 1).elements();
}

/// pass(first, count) for all models of a block, as many at once as memory is given for.
template <class body>
void in_passes(i8 models, body&& pass) {
  i8 widest = widest_pass();
  for (i8 first = 1; first <= models;) {
    const i8 count = std::min(widest, models - first + 1);
    try {
      pass(first, count);
      first += count;
    } catch (const std::bad_alloc&) {
      if (count == 1) throw;
      widest = (count + 1) / 2;
    }
  }
}

/// Vectors of one length, interleaved: element i of vector l stands at width i + l, both from 0.
class interleaved {
 public:
  interleaved(i8 length, i8 count)
      : length_(length), width_(interleaved_for(count)), elements_(uninitialised, length * width_) {}

  i8 width() const { return width_; }
  std::span<r8> elements() { return elements_.elements(); }

  /// As vector l, from 1.
  void put(std::span<const r8> from, i8 l) {
    r8* const to = elements_.data() + l - 1;
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (i8 i = 0; i < length_; ++i) to[i * width_] = from[static_cast<std::size_t>(i)];
  }
  void get(i8 l, std::span<r8> to) const {
    const r8* const from = elements_.data() + l - 1;
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (i8 i = 0; i < length_; ++i) to[static_cast<std::size_t>(i)] = from[i * width_];
  }
  /// Zeros for the vectors from l on: they make up the width.
  void clear_from(i8 l) {
    for (; l <= width_; ++l)
      for (i8 i = 0; i < length_; ++i) elements_.data()[i * width_ + l - 1] = 0;
  }

 private:
  i8 length_, width_;
  owned_array1<r8> elements_;
};

void put_models(array2<const r8> m, owned_array1<r8>& cube, interleaved& cubes) {
  for (i8 l = 1; l <= m.extent(2); ++l) {
    model_to_coefficients(column(m, l), cube.elements());
    cubes.put(cube.elements(), l);
  }
  cubes.clear_from(m.extent(2) + 1);
}

void get_models(interleaved& cubes, owned_array1<r8>& cube, array2<r8> m) {
  for (i8 l = 1; l <= m.extent(2); ++l) {
    cubes.get(l, cube.elements());
    coefficients_to_model(cube.elements(), column(m, l));
  }
}

i8 ndata() {
  return std::max(survey.ndata, 0);
}

template <class number>
void check_data(array2<number> d) {
  if (d.extent(1) < survey.ndata) stop_program("size(data) < ndata");
}

void compressed_GPROD(array2<const r8> m, array2<r8> d) {
  check_data(d);
  owned_array1<r8> cube = new_cube();
  interleaved cubes(store.ncube, m.extent(2)), data(ndata(), m.extent(2));
  put_models(m, cube, cubes);
  CALC_GV(cubes.elements(), data.elements(), cubes.width());
  for (i8 l = 1; l <= d.extent(2); ++l) data.get(l, column(d, l));
}

void compressed_GTPROD(array2<r8> m, array2<const r8> d) {
  check_data(d);
  owned_array1<r8> cube = new_cube();
  interleaved cubes(store.ncube, m.extent(2)), data(ndata(), m.extent(2));
  for (i8 l = 1; l <= d.extent(2); ++l) data.put(column(d, l), l);
  data.clear_from(d.extent(2) + 1);
  CALC_GTV(data.elements(), cubes.elements(), cubes.width());
  get_models(cubes, cube, m);
}

void compressed_GTGPROD(array2<const r8> x, array2<r8> y) {
  owned_array1<r8> cube = new_cube();
  interleaved cubes(store.ncube, x.extent(2)), cubesout(store.ncube, x.extent(2));
  put_models(x, cube, cubes);
  CALC_GTGV_1LOOP(cubes.elements(), cubesout.elements(), cubes.width());
  get_models(cubesout, cube, y);
}

bool has_columns(array2<const r8> m) {
  return m.extent(1) == store.ncol;
}

/// Models on the cells below the surface.
owned_array2<r8> new_columns(i8 models) {
  return owned_array2<r8>(uninitialised, store.ncol, models);
}

void dense_GPROD(array2<const r8> m, array2<r8> d) {
  if (has_columns(m)) return CALC_FULL_GV_BLOCK(m, d);
  if (m.extent(1) != wrapped_product(mesh.nz, mesh.nx, mesh.ny)) stop_program("problem in gprod");
  owned_array2<r8> mcol = new_columns(m.extent(2));
  for (i8 l = 1; l <= m.extent(2); ++l) GRID_TO_BELOW(column(m, l), column<r8>(mcol, l));
  CALC_FULL_GV_BLOCK(mcol, d);
}

void dense_GTPROD(array2<r8> m, array2<const r8> d) {
  if (has_columns(m)) return CALC_FULL_GTV_BLOCK(d, m);
  owned_array2<r8> mcol = new_columns(m.extent(2));
  CALC_FULL_GTV_BLOCK(d, mcol);
  for (i8 l = 1; l <= m.extent(2); ++l) BELOW_TO_ACTIVE(column<r8>(mcol, l), column(m, l));
}

void dense_GTGPROD(array2<const r8> x, array2<r8> y) {
  if (has_columns(x)) return CALC_FULL_GTGV_BLOCK(x, y);
  owned_array2<r8> mcol = new_columns(x.extent(2)), mcolout = new_columns(x.extent(2));
  for (i8 l = 1; l <= x.extent(2); ++l) ACTIVE_TO_BELOW(column(x, l), column<r8>(mcol, l));
  CALC_FULL_GTGV_BLOCK(mcol, mcolout);
  for (i8 l = 1; l <= y.extent(2); ++l) BELOW_TO_ACTIVE(column<r8>(mcolout, l), column(y, l));
}

}  // namespace

void GPROD_BLOCK(array2<const r8> m, array2<r8> d) {
  if (m.extent(2) != d.extent(2)) stop_program("size(m) /= size(d)");
  in_passes(m.extent(2), [&](i8 first, i8 count) {
    if (count == 1) return GPROD(column(m, first), column(d, first));
    const auto models = part_of(m, first, count);
    const auto data = part_of(d, first, count);
    store.compressed ? compressed_GPROD(models, data) : dense_GPROD(models, data);
  });
}

void GTPROD_BLOCK(array2<r8> m, array2<const r8> d) {
  if (m.extent(2) != d.extent(2)) stop_program("size(m) /= size(d)");
  in_passes(m.extent(2), [&](i8 first, i8 count) {
    if (count == 1) return GTPROD(column(m, first), column(d, first));
    const auto models = part_of(m, first, count);
    const auto data = part_of(d, first, count);
    store.compressed ? compressed_GTPROD(models, data) : dense_GTPROD(models, data);
  });
}

void GTGPROD_BLOCK(array2<const r8> x, array2<r8> y) {
  if (x.extent(2) != y.extent(2)) stop_program("size(x) /= size(y)");
  in_passes(x.extent(2), [&](i8 first, i8 count) {
    if (count == 1) return GTGPROD(column(x, first), column(y, first));
    const auto from = part_of(x, first, count);
    const auto to = part_of(y, first, count);
    store.compressed ? compressed_GTGPROD(from, to) : dense_GTGPROD(from, to);
  });
}

block_memory work_bytes(i8 models) {
  const i8 count = std::min(models, widest_pass()), bytes = i8{sizeof(r8)};
  if (count < 1) return {0, 0};
  if (!store.compressed) return {store.ncol * count * bytes, 2 * store.ncol * count * bytes};
  const i8 width = interleaved_for(count), beside = width > 1 ? 1 : 0, data = beside * width * ndata();
  return {((width + beside) * store.ncube + data) * bytes, (2 * width + beside) * store.ncube * bytes};
}

}  // namespace velko
