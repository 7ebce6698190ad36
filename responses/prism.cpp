// Letters: i along y, j along x, k down a column, all counted from 0 here. Plane i is that of the nodes i; cells i lie
// between the planes i and i + 1.
#include "responses/prism.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace velko {

namespace {

std::size_t count(i4 n) {
  return static_cast<std::size_t>(n);
}

std::size_t column_stride(i4 nz) {
  constexpr std::size_t at_once = rectangles_at_once;
  return (count(nz) + at_once - 1) / at_once * at_once + at_once;
}

VELKO_ALWAYS_INLINE void distances(r8 across2, std::span<const r8> w2, r8* distance) {
  for (std::size_t k = 0; k < w2.size(); ++k) distance[k] = std::sqrt(across2 + w2[k]);
}
VELKO_ALWAYS_INLINE void sum_of_faces(std::span<r8> sums, const r8* west, const r8* east, const r8* south,
                                      const r8* north) {
  for (std::size_t n = 0; n < sums.size(); ++n) sums[n] = (west[n] - east[n]) + (south[n] - north[n]);
}

void distances_sse2(r8 across2, std::span<const r8> w2, r8* distance) {
  distances(across2, w2, distance);
}
VELKO_TARGET_AVX2 void distances_avx2(r8 across2, std::span<const r8> w2, r8* distance) {
  distances(across2, w2, distance);
}
VELKO_TARGET_AVX512 void distances_avx512(r8 across2, std::span<const r8> w2, r8* distance) {
  distances(across2, w2, distance);
}
void sum_of_faces_sse2(std::span<r8> sums, const r8* west, const r8* east, const r8* south, const r8* north) {
  sum_of_faces(sums, west, east, south, north);
}
VELKO_TARGET_AVX2 void sum_of_faces_avx2(std::span<r8> sums, const r8* west, const r8* east, const r8* south,
                                         const r8* north) {
  sum_of_faces(sums, west, east, south, north);
}
VELKO_TARGET_AVX512 void sum_of_faces_avx512(std::span<r8> sums, const r8* west, const r8* east,
                                             const r8* south, const r8* north) {
  sum_of_faces(sums, west, east, south, north);
}

column_arithmetic column_arithmetic_for(instruction_set set) {
  switch (set) {
    case instruction_set::avx512:
      return {distances_avx512, sum_of_faces_avx512};
    case instruction_set::avx2:
      return {distances_avx2, sum_of_faces_avx2};
    case instruction_set::sse2:
      break;
  }
  return {distances_sse2, sum_of_faces_sse2};
}

}  // namespace

tensor_factors factors_of(const direction& inducing, const direction& measured, r8 geomag) {
  const direction &b = inducing, &a = measured;
  const r8 scale = geomag / (4.0 * std::numbers::pi);
  // Bzz = -(Bxx + Byy) moves the factor of zz to the other two.
  return {.xx = scale * (a.x * b.x - a.z * b.z),
          .yy = scale * (a.y * b.y - a.z * b.z),
          .xy = scale * (a.x * b.y + a.y * b.x),
          .xz = scale * (a.x * b.z + a.z * b.x),
          .yz = scale * (a.y * b.z + a.z * b.y),
          .inside = geomag * (a.x * b.x + a.y * b.y)};
}

prism_responses::prism_responses(const mesh_state& shared_mesh, instruction_set set)
    : mesh_(shared_mesh),
      field_(rectangle_field_for(set)),
      arithmetic_(column_arithmetic_for(set)),
      stride_(column_stride(mesh_.nz)),
      depth_(stride_),
      height_(stride_),
      x_(count(mesh_.nx) + 1),
      y_(count(mesh_.ny) + 1),
      w_(stride_),
      w2_(stride_) {
  const std::span<const r8> znode = mesh_.znode.elements();
  const std::size_t nz = count(mesh_.nz);
  for (std::size_t k = 0; k < stride_; ++k) {
    height_[k] = k < nz ? znode[k + 1] - znode[k] : height_[nz - 1];
    depth_[k] = k <= nz ? znode[k] : depth_[k - 1] + height_[k - 1];
  }
  tallest_ = *std::max_element(height_.begin(), height_.end());
  for (numbers& plane : distance_) plane.resize(stride_ * x_.size());
  for (numbers& plane : across_y_) plane.resize(stride_ * count(mesh_.nx));
  for (numbers& faces : across_x_) faces.resize(stride_);
}

void prism_responses::compute(const point& at, const tensor_factors& factors, std::span<r8> row) {
  begin(at, factors);
  std::size_t done = 0;
  for (i4 i = 0; i < mesh_.ny; ++i) done += next_plane(row.subspan(done));
}

void prism_responses::begin(const point& at, const tensor_factors& factors) {
  factors_ = factors;
  next_ = 0;
  see_nodes(at);
  find_own_cell();
  measure_plane(0);
  evaluate_faces_across_y(0);
}

std::size_t prism_responses::next_plane(std::span<r8> plane) {
  const i4 i = next_++;
  std::swap(distance_[0], distance_[1]);
  std::swap(across_y_[0], across_y_[1]);
  measure_plane(i + 1);
  evaluate_faces_across_y(i + 1);
  evaluate_faces_across_x(i, 0);
  std::size_t done = 0;
  for (i4 j = 0; j < mesh_.nx; ++j) {
    std::swap(across_x_[0], across_x_[1]);
    evaluate_faces_across_x(i, j + 1);
    const i4 itop = mesh_.itop(i + 1, j + 1);
    const std::span<r8> below = plane.subspan(done, count(mesh_.nz - itop));
    const auto from_top = [&](const r8* faces) { return faces + itop; };
    arithmetic_.sum_of_faces(below, from_top(across_x_[0].data()), from_top(across_x_[1].data()),
                             from_top(column(across_y_[0], j)), from_top(column(across_y_[1], j)));
    if (i == own_.i && j == own_.j && own_.k >= itop) below[count(own_.k - itop)] += factors_.inside;
    done += below.size();
  }
  return done;
}

void prism_responses::see_nodes(const point& at) {
  for (std::size_t j = 0; j < x_.size(); ++j) x_[j] = mesh_.xnode.elements()[j] - at.x;
  for (std::size_t i = 0; i < y_.size(); ++i) y_[i] = mesh_.ynode.elements()[i] - at.y;
  for (std::size_t k = 0; k < stride_; ++k) {
    w_[k] = (mesh_.ztop - depth_[k]) - at.z;
    w2_[k] = w_[k] * w_[k];
  }
}

/// Distances of the nodes of plane i, which lies behind the cells.
void prism_responses::measure_plane(i4 i) {
  for (i4 j = 0; j <= mesh_.nx; ++j) {
    const r8 across2 = x_[count(j)] * x_[count(j)] + y_[count(i)] * y_[count(i)];
    arithmetic_.distances(across2, w2_, column(distance_[1], j));
  }
}

/// The faces on plane i, down to where the first of the cells on either side begins to lie below the surface.
void prism_responses::evaluate_faces_across_y(i4 i) {
  const std::span<const r8> xnode = mesh_.xnode.elements();
  for (i4 j = 0; j < mesh_.nx; ++j) {
    const i4 top = std::min(mesh_.itop(std::max(i, 1), j + 1), mesh_.itop(std::min(i + 1, mesh_.ny), j + 1));
    const std::size_t west = count(j);
    const rectangle_column faces{.u = y_[count(i)],
                                 .p1 = x_[west],
                                 .p2 = x_[west + 1],
                                 .width = xnode[west + 1] - xnode[west],
                                 .w = w_.data(),
                                 .height = height_.data(),
                                 .tallest = tallest_,
                                 .r1 = column(distance_[1], j),
                                 .r2 = column(distance_[1], j + 1)};
    field_(faces, {factors_.yy, 0.0, factors_.yz}, top, mesh_.nz, column(across_y_[1], j));
  }
}

/// The faces between the columns of cells j - 1 and j.
void prism_responses::evaluate_faces_across_x(i4 i, i4 j) {
  const std::span<const r8> ynode = mesh_.ynode.elements();
  const i4 top = std::min(mesh_.itop(i + 1, std::max(j, 1)), mesh_.itop(i + 1, std::min(j + 1, mesh_.nx)));
  const std::size_t south = count(i);
  const rectangle_column faces{.u = x_[count(j)],
                               .p1 = y_[south],
                               .p2 = y_[south + 1],
                               .width = ynode[south + 1] - ynode[south],
                               .w = w_.data(),
                               .height = height_.data(),
                               .tallest = tallest_,
                               .r1 = column(distance_[0], j),
                               .r2 = column(distance_[1], j)};
  field_(faces, {factors_.xx, factors_.xy, factors_.xz}, top, mesh_.nz, across_x_[1].data());
}

/// The cell that holds the point, which has the flux of its own on top if it lies below the surface. A node that is level with
/// the point counts as east and north of it, as it does in the fields of the faces, and as below it: a point on the ground is
/// outside.
void prism_responses::find_own_cell() {
  const auto not_below = [](const numbers& ascending) {
    return static_cast<i4>(std::ranges::lower_bound(ascending, 0.0) - ascending.begin());
  };
  const auto nodes_end = w_.begin() + mesh_.nz + 1;
  const auto below = std::find_if(w_.begin(), nodes_end, [](r8 w) { return w <= 0.0; });
  own_ = {not_below(y_) - 1, not_below(x_) - 1, static_cast<i4>(below - w_.begin()) - 1};
  if (std::min({own_.i, own_.j, own_.k}) < 0 || own_.i >= mesh_.ny || own_.j >= mesh_.nx ||
      own_.k >= mesh_.nz)
    own_ = {};
}

}  // namespace velko
