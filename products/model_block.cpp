#include "products/model_block.h"

#include <algorithm>
#include <new>
#include <utility>

#include "arrays/instruction_set.h"
#include "products/coefficients.h"
#include "products/columns.h"
#include "products/full_rows.h"
#include "products/model_mapping.h"
#include "products/products.h"
#include "products/sparse_rows.h"
#include "reports/program_stop.h"
#include "store/cell_geometry.h"
#include "store/state.h"
#include "threads/team.h"
#include "wavelet/transform_memory.h"

namespace velko {
namespace {

// How many models go in one pass. Eight take the least time for each where a cache line, eight r8, goes through the
// registers as one, and where a plane of the cubes goes through the transform in the second caches; otherwise four do
// (benchmarks/README.md, "products").
i8 widest_pass() {
  if (best_instruction_set() != instruction_set::avx512) return 4;
  constexpr i8 second_caches = i8{2} << 20;
  const i8 plane_of_eight = 8 * i8{store.ncube_z} * store.ncube_x * i8{sizeof(r8)};
  return store.compressed && plane_of_eight > second_caches ? 4 : 8;
}

/// So many models lie interleaved in a pass of `count`: some of them zero.
i8 interleaved_for(i8 count) {
  return *std::lower_bound(numbers_of_models.begin(), numbers_of_models.end(), count);
}

i8 ndata() {
  return std::max(survey.ndata, 0);
}

/// The three ways of a product: of one model; of several with a compressed G, and with a dense one.
template <class from, class to>
struct product_of_models {
  void (*of_one)(std::span<from>, std::span<to>);
  void (*compressed)(array2<from>, array2<to>, block_work&);
  void (*dense)(array2<from>, array2<to>);

  void operator()(array2<from> a, array2<to> b, block_work& work) const {
    if (a.extent(2) > 1) return store.compressed ? compressed(a, b, work) : dense(a, b);
    work = {};  // one model asks for its own
    of_one(column_of(a, 1), column_of(b, 1));
  }
};

/// The product for all models of a block, as many at once as memory is given for.
template <class from, class to>
void in_passes(array2<from> a, array2<to> b, block_work& work, const product_of_models<from, to>& product) {
  const i8 models = a.extent(2);
  i8 widest = widest_pass();
  for (i8 first = 1; first <= models;) {
    const i8 count = std::min(widest, models - first + 1);
    try {
      product(columns_of(a, first, count), columns_of(b, first, count), work);
      first += count;
    } catch (const std::bad_alloc&) {
      work = {};
      if (count == 1) throw;
      widest = (count + 1) / 2;
    }
  }
}

/// So many elements of what is kept.
std::span<r8> room(owned_array1<r8>& kept, i8 elements) {
  if (kept.size() < elements) {
    kept = {};
    kept = owned_array1<r8>(uninitialised, elements);
  }
  return kept.elements().first(static_cast<std::size_t>(elements));
}

void interleave(array2<const r8> data, std::span<r8> to) {
  const i8 width = interleaved_for(data.extent(2));
  r8* element = to.data();
  for (i8 i = 1; i <= ndata(); ++i)
    for (i8 l = 1; l <= width; ++l) *element++ = l <= data.extent(2) ? data(i, l) : 0;
}

void separate(std::span<const r8> from, array2<r8> data) {
  const i8 width = interleaved_for(data.extent(2));
  for (i8 l = 1; l <= data.extent(2); ++l)
    for (i8 i = 1; i <= ndata(); ++i) data(i, l) = from[static_cast<std::size_t>((i - 1) * width + l - 1)];
}

template <class number>
void check_data(array2<number> d) {
  if (d.extent(1) < survey.ndata) stop_program("size(data) < ndata");
}

void compressed_GPROD(array2<const r8> m, array2<r8> d, block_work& work) {
  check_data(d);
  const i8 width = interleaved_for(m.extent(2));
  const std::span<r8> cubes = room(work.cubes, width * store.ncube), data = room(work.data, width * ndata());
  models_to_coefficients(m, width, cubes);
  CALC_GV(cubes, data, width);
  separate(data, d);
}

void compressed_GTPROD(array2<r8> m, array2<const r8> d, block_work& work) {
  check_data(d);
  const i8 width = interleaved_for(m.extent(2));
  const std::span<r8> cubes = room(work.cubes, width * store.ncube), data = room(work.data, width * ndata());
  interleave(d, data);
  CALC_GTV(data, cubes, width);
  coefficients_to_models(width, cubes, m);
}

void compressed_GTGPROD(array2<const r8> x, array2<r8> y, block_work& work) {
  const i8 width = interleaved_for(x.extent(2)), elements = width * store.ncube;
  const std::span<r8> cubes = room(work.cubes, elements), cubesout = room(work.cubesout, elements);
  models_to_coefficients(x, width, cubes);
  CALC_GTGV_1LOOP(cubes, cubesout, width);
  coefficients_to_models(width, cubesout, y);
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
  for (i8 l = 1; l <= m.extent(2); ++l) GRID_TO_BELOW(column_of(m, l), column_of<r8>(mcol, l));
  CALC_FULL_GV_BLOCK(mcol, d);
}

void dense_GTPROD(array2<r8> m, array2<const r8> d) {
  if (has_columns(m)) return CALC_FULL_GTV_BLOCK(d, m);
  owned_array2<r8> mcol = new_columns(m.extent(2));
  CALC_FULL_GTV_BLOCK(d, mcol);
  for (i8 l = 1; l <= m.extent(2); ++l) BELOW_TO_ACTIVE(column_of<r8>(mcol, l), column_of(m, l));
}

void dense_GTGPROD(array2<const r8> x, array2<r8> y) {
  if (has_columns(x)) return CALC_FULL_GTGV_BLOCK(x, y);
  owned_array2<r8> mcol = new_columns(x.extent(2)), mcolout = new_columns(x.extent(2));
  for (i8 l = 1; l <= x.extent(2); ++l) ACTIVE_TO_BELOW(column_of(x, l), column_of<r8>(mcol, l));
  CALC_FULL_GTGV_BLOCK(mcol, mcolout);
  for (i8 l = 1; l <= y.extent(2); ++l) BELOW_TO_ACTIVE(column_of<r8>(mcolout, l), column_of(y, l));
}

}  // namespace

void GPROD_BLOCK(array2<const r8> m, array2<r8> d, block_work& work) {
  if (m.extent(2) != d.extent(2)) stop_program("size(m) /= size(d)");
  in_passes(m, d, work, {GPROD, compressed_GPROD, dense_GPROD});
}

void GTPROD_BLOCK(array2<r8> m, array2<const r8> d, block_work& work) {
  if (m.extent(2) != d.extent(2)) stop_program("size(m) /= size(d)");
  in_passes(m, d, work, {GTPROD, compressed_GTPROD, dense_GTPROD});
}

void GTGPROD_BLOCK(array2<const r8> x, array2<r8> y, block_work& work) {
  if (x.extent(2) != y.extent(2)) stop_program("size(x) /= size(y)");
  in_passes(x, y, work, {GTGPROD, compressed_GTGPROD, dense_GTGPROD});
}

void GPROD_BLOCK(array2<const r8> m, array2<r8> d) {
  block_work work;
  GPROD_BLOCK(m, d, work);
}

void GTPROD_BLOCK(array2<r8> m, array2<const r8> d) {
  block_work work;
  GTPROD_BLOCK(m, d, work);
}

void GTGPROD_BLOCK(array2<const r8> x, array2<r8> y) {
  block_work work;
  GTGPROD_BLOCK(x, y, work);
}

block_memory work_bytes(i8 models) {
  const i8 count = std::min(models, widest_pass()), bytes = i8{sizeof(r8)};
  if (count < 1) return {0, 0};
  if (!store.compressed) return {store.ncol * count * bytes, 2 * store.ncol * count * bytes};
  const i8 width = interleaved_for(count), threads = width > 1 ? team_size() : 1;
  const i8 transform = threads * bytes_of_transform(cube_shape(), width);
  const i8 cubes = width * store.ncube * bytes, data = width > 1 ? width * ndata() * bytes : 0;
  return {cubes + data + transform, 2 * cubes + transform};
}

}  // namespace velko
