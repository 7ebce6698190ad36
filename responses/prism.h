/// Prism: the magnetic response of every cell below the surface at one point.
///
/// What     the cells are rectangular prisms of unit susceptibility (SI), magnetised along the inducing field; the
///          response is the component of their field along the measured direction. With b the inducing and a the
///          measured direction,
///            response = geomag / (4 pi) * sum over p, q of a_p b_q B_pq,
///            B_pq = d2/(dp dq) of the integral of 1/r over the cell, + 4 pi delta_pq in the cell that holds the point.
///          So it is the flux density, inside of a cell too. Demagnetisation is left out
/// How      B_pq is the field of charges on the faces across p: the difference of two faces, and neighbours share
///          faces. The faces across x and those across y, about as many each as there are cells, are evaluated once;
///          those across z are not needed, as Bxx + Byy + Bzz = 0 but for the cell that holds the point. A component
///          that the two directions don't ask for is not computed
/// Parts    a row of cells along x with all below it (plane i) comes at a time, so that a caller can go on with it while it is in
///          cache
/// Shapes   row(ncol), surface order; plane: the part of it
/// Units    lengths in any one unit (B has none); nT for geomag in nT
/// Accuracy relative 1e-15 r/a for a cell of size a at distance r (tests/responses/prism_accuracy_test.cpp)
/// Bits     the same on every machine (rectangle_field.h)
/// Errors   none. Every point is answered: see rectangle_field.h for one on an edge; one on a face between two cells is
///          in the western, southern or upper one
/// Threads  an object holds work arrays and belongs to one thread; the mesh is shared
/// Sources  B. K. Bhattacharyya, Geophysics 29 (1964) 517-531, doi 10.1190/1.1439386 (field of a prism)
/// See      tests/responses/prism_test.cpp, benchmarks/bench_sensitivity.cpp
#pragma once

#include <array>
#include <span>
#include <vector>

#include "arrays/instruction_set.h"
#include "responses/directions.h"
#include "responses/rectangle_field.h"
#include "store/state.h"

namespace velko {

struct point {
  r8 x, y, z;  // east, north, elevation
};

/// What the components of B weigh in the response: geomag / (4 pi) and the trace are worked in.
struct tensor_factors {
  r8 xx, yy, xy, xz, yz;
  r8 inside;  // what the cell that holds the point has on top
};

tensor_factors factors_of(const direction& inducing, const direction& measured, r8 geomag);

/// The plain loops over a column, compiled for a set of instructions.
struct column_arithmetic {
  /// distance[k] = sqrt(across2 + w2[k])
  void (*distances)(r8 across2, std::span<const r8> w2, r8* distance);
  /// sums[n] is what the faces around cell k + n have in all.
  void (*sum_of_faces)(std::span<r8> sums, const r8* west, const r8* east, const r8* south, const r8* north);
};

class prism_responses {
 public:
  explicit prism_responses(const mesh_state& shared_mesh, instruction_set set = best_instruction_set());

  /// Responses of all cells below the surface at a point.
  void compute(const point& at, const tensor_factors& factors, std::span<r8> row);

  /// The same plane by plane: begin, then next_plane for each from the south. Returns how many cells it has filled, from the
  /// first on.
  void begin(const point& at, const tensor_factors& factors);
  std::size_t next_plane(std::span<r8> plane);

 private:
  using numbers = std::vector<r8>;

  void find_own_cell();
  void see_nodes(const point& at);
  void measure_plane(i4 i);
  void evaluate_faces_across_y(i4 i);
  void evaluate_faces_across_x(i4 i, i4 j);

  r8* column(numbers& plane, i4 j) const { return plane.data() + static_cast<std::size_t>(j) * stride_; }

  // The cell that holds the point, -1 along y if it lies beyond the mesh.
  struct cell {
    i4 i = -1, j = -1, k = -1;
  };

  const mesh_state& mesh_;
  rectangle_field field_;
  column_arithmetic arithmetic_;
  tensor_factors factors_{};
  cell own_;
  i4 next_ = 0;         // plane
  std::size_t stride_;  // elements of a column of nodes or faces, those beyond the mesh included
  numbers depth_,
      height_;         // (stride) of the nodes, of the cells; the last cell repeats itself beyond the mesh
  r8 tallest_;         // cell
  numbers x_, y_, w_;  // (nx + 1), (ny + 1), (stride) node - point
  numbers w2_;         // (stride) their squares
  std::array<numbers, 2>
      distance_;  // (stride, nx + 1) point to node; of the plane of nodes before and behind the cells
  std::array<numbers, 2> across_y_;  // (stride, nx) faces on these planes
  std::array<numbers, 2> across_x_;  // (stride) faces to the west and to the east of a column of cells
};

}  // namespace velko
