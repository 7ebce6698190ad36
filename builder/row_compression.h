/// Row compression: a row of G in the wavelet domain, and the few coefficients of it that matter.
///
/// What     a row is laid on the zero-filled cube as MODEL_TO_CUBE lays a model, transformed by WTN, and cut down to
///          the fewest coefficients whose discarded energy is at most tolerance^2 times the energy of the row
/// Why      with an orthonormal filter the product of row and model is that of their transforms, and by the
///          inequality of Cauchy and Schwarz it loses at most tolerance |row| |model|
/// Shapes   row(nz * nx * ny), model order; coefficients(ncube_z * ncube_x * ncube_y); idx counts from 1, ascending
/// Ties     of equal magnitudes those with the lower idx stay
/// Errors   none
/// Threads  an object holds work arrays and belongs to one thread; SET_WTN_FILTER comes before all of them
#pragma once

#include <span>
#include <vector>

#include "arrays/numbers.h"
#include "builder/cube_size.h"
#include "store/state.h"

namespace velko {

/// Chooses from a vector of coefficients; keeps its work array from one row to the next.
class coefficient_selection {
 public:
  /// Positions, from 1 and ascending, of the coefficients to keep; valid until the next call. A coefficient of 0
  /// is never kept; with a tolerance of 0 all others are.
  std::span<const i4> choose(std::span<const r8> coefficients, r8 tolerance);

 private:
  struct candidate {
    r8 energy;
    i4 idx;
  };
  std::vector<candidate> candidates_;
  std::vector<i4> kept_;
};

/// One datum's row of G in the wavelet domain, before it is narrowed to the types of the file.
struct compressed_row {
  std::span<const i4> idx;
  std::span<const r8> coefficients;  // the whole cube: that of idx(k) is coefficients[idx(k) - 1]
};

class row_compressor {
 public:
  row_compressor(const mesh_state& shared_mesh, const cube_size& cube, r8 tolerance);

  /// Valid until the next call.
  compressed_row compress(std::span<const r8> row);

 private:
  void lay_on_cube(std::span<const r8> row);

  const mesh_state& mesh_;
  cube_size cube_size_;
  r8 tolerance_;
  owned_array1<r8> cube_;  // (ncube_z * ncube_x * ncube_y)
  coefficient_selection selection_;
};

}  // namespace velko
