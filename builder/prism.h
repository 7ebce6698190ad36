/// Prism: the magnetic response of every cell of the mesh at one point outside of it.
///
/// What     the cells are rectangular prisms of unit susceptibility (SI), magnetised along the inducing field; the
///          response is the component of their field along the measured direction. With b the inducing and a the
///          measured direction,
///            response = geomag / (4 pi) * sum over p, q of a_p b_q T_pq,
///            T_pq = d2/(dp dq) of the integral of 1/r over the cell.
///          Demagnetisation is left out
/// How      T has a closed form: a function of the node, differenced over the eight corners of a cell. Neighbours
///          share corners, so the function is evaluated once per node of the mesh: about one evaluation per cell,
///          not eight. Outside of the cells Txx + Tyy + Tzz = 0, which saves the arctangent of Tzz; a component
///          that the two directions don't ask for is not computed
/// Shapes   row(nz * nx * ny), model order
/// Units    lengths in any one unit (T has none); nT for geomag in nT
/// Accuracy terms of order 1 cancel down to the response, so about 1e-15 (r/a)^3 of it is lost, for a cell of size a
///          at distance r
/// Errors   none: that the point lies outside of the closed mesh is the caller's promise (input_checks.h)
/// Threads  an object holds work arrays and belongs to one thread; the mesh is shared
/// Sources  B. K. Bhattacharyya, Geophysics 29 (1964) 517-531, doi 10.1190/1.1439386 (field of a prism)
/// See      tests/builder/prism_test.cpp, benchmarks/bench_sensitivity.cpp
#pragma once

#include <span>
#include <vector>

#include "builder/directions.h"
#include "store/state.h"

namespace velko {

struct point {
  r8 x, y, z;  // east, north, elevation
};

/// Factors of the node function's terms: geomag / (4 pi) and the trace are worked in.
struct tensor_factors {
  r8 xx, yy, xy, xz, yz;
};

tensor_factors factors_of(const direction& inducing, const direction& measured, r8 geomag);

class prism_responses {
 public:
  explicit prism_responses(const mesh_state& shared_mesh);

  /// Responses of all cells at a point, in model order.
  void compute(const point& at, const tensor_factors& factors, std::span<r8> row);

 private:
  void see_nodes(const point& at);
  void evaluate_plane(std::size_t i, const tensor_factors& factors);
  void evaluate_line(std::size_t i, std::size_t j, const tensor_factors& factors);

  const mesh_state& mesh_;
  std::vector<r8> elevation_;             // (nz + 1) of the nodes, from the top down
  std::vector<r8> x_, y_, z_;             // (nx + 1), (ny + 1), (nz + 1) node - point
  std::vector<r8> distance_;              // (nz + 1) point to node, along one line of nodes
  std::vector<r8> node_;                  // (nz + 1) the node function there
  std::vector<r8> line_, line_before_;    // (nz) its difference along z; that of the line before
  std::vector<r8> plane_, plane_before_;  // (nz, nx) its difference along z and x; that of the plane before
};

}  // namespace velko
