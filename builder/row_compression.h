/// Row compression: a row of G in the wavelet domain, and the few coefficients of it that matter.
///
/// What     a row is laid on the zero-filled cube as MODEL_TO_CUBE lays a model, cells above the surface 0, transformed
///          by WTN, and cut down to the fewest coefficients whose discarded energy is at most tolerance^2 times the
///          energy of the row. restore() goes the way back, to the row that the kept coefficients stand for
/// Why      with an orthonormal filter the product of row and model is that of their transforms, and by the
///          inequality of Cauchy and Schwarz it loses at most tolerance |row| |model|
/// Shapes   row(ncol), surface order; coefficients(ncube_z * ncube_x * ncube_y); idx counts from 1, ascending
/// Ties     of equal magnitudes those with the lower idx stay
/// Memory   for each object a cube of r8 and, while rows are chosen from, up to another half
/// Errors   none
/// Threads  an object holds work arrays and belongs to one thread; SET_WTN_FILTER comes before all of them
#pragma once

#include <array>
#include <span>
#include <vector>

#include "arrays/numbers.h"
#include "builder/cube_size.h"
#include "store/state.h"

namespace velko {

/// Scalar product of two vectors of one length, of eight partial sums.
r8 scalar_product(std::span<const r8> a, std::span<const r8> b);

/// Sum of squares. A row that overflows it gives infinity or no number.
inline r8 energy_of(std::span<const r8> values) {
  return scalar_product(values, values);
}

/// Chooses from a vector of coefficients; keeps its work arrays from one row to the next.
class coefficient_selection {
 public:
  /// Positions, from 1 and ascending, of the coefficients to keep; valid until the next call. A coefficient of 0
  /// is never kept; with a tolerance of 0 all others are.
  std::span<const i4> choose(std::span<const r8> coefficients, r8 tolerance);

 private:
  /// Coefficients of similar energy, told apart by its exponent and the first two bits behind.
  static constexpr std::size_t bins = std::size_t{1} << 13;

  r8 pass_over_negligible(std::span<const r8> coefficients, r8 negligible);
  std::size_t last_bin_to_discard(std::span<const r8> coefficients, r8 budget, r8& discarded);
  void discard_from_bin(std::span<const r8> coefficients, std::size_t bin, r8 budget, r8 discarded);

  std::vector<i4> kept_;             // candidates at first
  std::vector<i4> in_bin_;           // those of the bin in which the budget ends
  std::array<r8, bins> bin_energy_;  // sum of the energies
};

/// One datum's row of G in the wavelet domain, before it is narrowed to the types of the file.
struct compressed_row {
  std::span<const i4> idx;
  std::span<const r8> coefficients;  // the whole cube: that of idx(k) is coefficients[idx(k) - 1]
};

class row_compressor {
 public:
  row_compressor(const mesh_state& shared_mesh, const cube_size& cube, r8 tolerance);

  /// Valid until the next call of a member.
  compressed_row compress(std::span<const r8> row);

  /// Turns the row compressed last into the one that its kept coefficients, rounded to r4, stand for. Gives the energy
  /// of the difference.
  r8 restore(std::span<const i4> idx, std::span<r8> row);

 private:
  void transform(i4 isign);

  const mesh_state& mesh_;
  cube_size cube_size_;
  r8 tolerance_;
  owned_array1<r8> cube_;  // (ncube_z * ncube_x * ncube_y)
  coefficient_selection selection_;
};

}  // namespace velko
