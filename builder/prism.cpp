// Letters: u, v, w are node minus point along x, y and z, and r is their distance. Nodes are counted from 0.
#include "builder/prism.h"

#include <cmath>
#include <numbers>
#include <utility>

namespace velko {

namespace {

/// Term of Tpp: -atan(q s / (p r)). On the plane of a face (p = 0) it jumps, by the same amount at both ends of the
/// edges that the point can see from outside, so that either side will do: 0 is taken as the side above it.
r8 face_term(r8 p, r8 q, r8 s, r8 r) {
  constexpr r8 just_above_zero = 1e-290;
  return -std::atan(q * s / ((p == 0.0 ? just_above_zero : p) * r));
}

/// Term of Tqs: asinh(p / edge), where edge is the distance of the point from the line through the edge along p.
/// In this odd form nothing cancels on the near side of the point. On the line itself (edge = 0) the infinite part
/// is the same at both ends of the edge and is left out.
r8 edge_term(r8 p, r8 r, r8 edge2) {
  const r8 edge = edge2 > 0.0 ? std::sqrt(edge2) : 1.0;
  return std::copysign(std::log((std::abs(p) + r) / edge), p);
}

std::size_t count(i4 n) {
  return static_cast<std::size_t>(n);
}

void subtract(std::span<const r8> nodes, r8 at, std::span<r8> offsets) {
  for (std::size_t n = 0; n < offsets.size(); ++n) offsets[n] = nodes[n] - at;
}

}  // namespace

tensor_factors factors_of(const direction& inducing, const direction& measured, r8 geomag) {
  const direction &b = inducing, &a = measured;
  const r8 scale = geomag / (4.0 * std::numbers::pi);
  // Tzz = -(Txx + Tyy) moves the factor of zz to the other two.
  return {.xx = scale * (a.x * b.x - a.z * b.z),
          .yy = scale * (a.y * b.y - a.z * b.z),
          .xy = scale * (a.x * b.y + a.y * b.x),
          .xz = scale * (a.x * b.z + a.z * b.x),
          .yz = scale * (a.y * b.z + a.z * b.y)};
}

prism_responses::prism_responses(const mesh_state& shared_mesh)
    : mesh_(shared_mesh),
      elevation_(count(mesh_.nz) + 1),
      x_(count(mesh_.nx) + 1),
      y_(count(mesh_.ny) + 1),
      z_(count(mesh_.nz) + 1),
      distance_(z_.size()),
      node_(z_.size()),
      line_(count(mesh_.nz)),
      line_before_(line_.size()),
      plane_(line_.size() * count(mesh_.nx)),
      plane_before_(plane_.size()) {
  for (std::size_t k = 0; k < elevation_.size(); ++k) elevation_[k] = mesh_.ztop - mesh_.znode.elements()[k];
}

void prism_responses::compute(const point& at, const tensor_factors& factors, std::span<r8> row) {
  see_nodes(at);
  evaluate_plane(0, factors);
  for (std::size_t i = 1; i < y_.size(); ++i) {
    std::swap(plane_, plane_before_);
    evaluate_plane(i, factors);
    const std::span<r8> cell_plane = row.subspan((i - 1) * plane_.size(), plane_.size());
    for (std::size_t c = 0; c < plane_.size(); ++c) cell_plane[c] = plane_[c] - plane_before_[c];
  }
}

void prism_responses::see_nodes(const point& at) {
  subtract(mesh_.xnode.elements(), at.x, x_);
  subtract(mesh_.ynode.elements(), at.y, y_);
  subtract(elevation_, at.z, z_);
}

/// Node function over one plane of nodes, differenced along z and x.
void prism_responses::evaluate_plane(std::size_t i, const tensor_factors& factors) {
  evaluate_line(i, 0, factors);
  for (std::size_t j = 1; j < x_.size(); ++j) {
    std::swap(line_, line_before_);
    evaluate_line(i, j, factors);
    for (std::size_t k = 0; k < line_.size(); ++k)
      plane_[(j - 1) * line_.size() + k] = line_[k] - line_before_[k];
  }
}

/// Node function down one line of nodes, differenced along z: the upper node of a cell minus the lower one.
void prism_responses::evaluate_line(std::size_t i, std::size_t j, const tensor_factors& factors) {
  const r8 u = x_[j], v = y_[i];
  const auto add = [&](r8 factor, const auto& term) {
    if (factor == 0.0) return;
    for (std::size_t k = 0; k < node_.size(); ++k) node_[k] += factor * term(z_[k], distance_[k]);
  };
  for (std::size_t k = 0; k < node_.size(); ++k) distance_[k] = std::sqrt(u * u + v * v + z_[k] * z_[k]);
  node_.assign(node_.size(), 0.0);
  add(factors.xx, [&](r8 w, r8 r) { return face_term(u, v, w, r); });
  add(factors.yy, [&](r8 w, r8 r) { return face_term(v, u, w, r); });
  add(factors.xy, [&](r8 w, r8 r) { return edge_term(w, r, u * u + v * v); });
  add(factors.xz, [&](r8 w, r8 r) { return edge_term(v, r, u * u + w * w); });
  add(factors.yz, [&](r8 w, r8 r) { return edge_term(u, r, v * v + w * w); });
  for (std::size_t k = 0; k < line_.size(); ++k) line_[k] = node_[k] - node_[k + 1];
}

}  // namespace velko
