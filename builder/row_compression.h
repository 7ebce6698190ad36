/// Row compression: a row of G in the wavelet domain, and the few coefficients of it that matter.
///
/// What     a row is laid on the cube as MODEL_TO_CUBE lays a model, transformed as WTN does it, and cut down to the
///          coefficients that matter most, as many as are needed for the energy of the others to stay within a budget.
///          restore() goes the way back, to the row that the kept coefficients stand for
/// Air      elements of the cube above the surface and beyond the mesh meet a model that is 0 there, so a row may hold
///          anything in them that leaves it smooth: its topmost value in the air of a column, and beyond the mesh a
///          straight line to the value at the other side, where the periodic transform goes on. A step down to 0 at
///          the surface takes twice as many coefficients, and what it loses of them adds up over the ground
/// Matters  a coefficient by its energy times the square root of the number of cells that its wavelet spans: the model
///          that it meets is smooth rather than white, so a broad wavelet does more to the data (evidence:
///          benchmarks/README.md)
/// Why      with an orthonormal filter the product of row and model is that of their transforms, and by the
///          inequality of Cauchy and Schwarz it loses at most sqrt(budget) |model|
/// Cost     lines beyond the mesh are transformed only where they have to be: along z those of the mesh, along x those of its
///          planes, and on the way back what holds a kept coefficient or ends in the mesh
/// Shapes   row(ncol), surface order; coefficients(ncube_z * ncube_x * ncube_y); idx counts from 1, ascending
/// Ties     of those that matter equally the ones with the lower idx stay
/// Memory   for each object a cube of r8 and, while rows are chosen from, up to another half
/// Errors   none
/// Threads  an object holds work arrays and belongs to one thread; SET_WTN_FILTER comes before all of them
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <utility>
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

/// What the energy of a coefficient is multiplied by to tell how much it matters: a factor for each position along
/// each axis, 1 or more.
class importance {
 public:
  explicit importance(const cube_size& cube);
  importance(std::vector<r8> along_z, std::vector<r8> along_x, std::vector<r8> along_y)
      : z_(std::move(along_z)), x_(std::move(along_x)), y_(std::move(along_y)) {}

  std::size_t lines() const { return x_.size() * y_.size(); }
  std::span<const r8> along_line() const { return z_; }
  r8 of_line(std::size_t line) const { return x_[line % x_.size()] * y_[line / x_.size()]; }
  r8 at(i4 idx) const {
    const std::size_t position = static_cast<std::size_t>(idx) - 1;
    return z_[position % z_.size()] * of_line(position / z_.size());
  }

 private:
  std::vector<r8> z_, x_, y_;
};

/// Chooses from a vector of coefficients; keeps its work arrays from one row to the next.
class coefficient_selection {
 public:
  /// Positions, from 1 and ascending, of the coefficients to keep when at most `budget` of energy may go; valid until
  /// the next call. A coefficient of 0 is never kept; with a budget of 0 all others are.
  std::span<const i4> choose(std::span<const r8> coefficients, const importance& factors, r8 budget);

 private:
  /// Coefficients that matter about as much, told apart by the exponent and the first two bits behind.
  static constexpr std::size_t bins = std::size_t{1} << 13;

  r8 pass_over_negligible(std::span<const r8> coefficients, const importance& factors, r8 negligible);
  std::size_t last_bin_to_discard(std::span<const r8> coefficients, const importance& factors, r8 budget,
                                  r8& discarded);
  void discard_from_bin(std::span<const r8> coefficients, const importance& factors, std::size_t bin,
                        r8 budget, r8 discarded);

  std::vector<i4> kept_;             // candidates at first
  std::vector<std::uint16_t> bin_;   // of each of them
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
  row_compressor(const mesh_state& shared_mesh, const cube_size& cube);

  void transform(std::span<const r8> row);

  /// Of the row transformed last. Valid until the next call of a member.
  compressed_row choose(r8 budget);

  /// Turns the coefficients into the row that those kept, rounded to r4, stand for: calls
  /// on_column(place of its first cell in the row, cells below the surface) for each column, in surface order.
  template <class action>
  void restore(std::span<const i4> idx, const action& on_column) {
    keep_only(idx);
    inverse_along_y();
    std::size_t done = 0;
    for (i4 i = 1; i <= mesh_.ny; ++i) {
      inverse_in_plane(i);
      for (i4 j = 1; j <= mesh_.nx; ++j) {
        const std::span<const r8> below = column(i, j).subspan(count(mesh_.itop(i, j)));
        on_column(done, below);
        done += below.size();
      }
    }
  }

  /// Takes coefficients as a file has them, for restore() to turn them into their row.
  void take(std::span<const i4> idx, std::span<const r4> val);

 private:
  static std::size_t count(i4 n) { return static_cast<std::size_t>(n); }

  std::span<r8> plane(i4 i);
  std::span<r8> column(i4 i, i4 j);  // its cells in the mesh, air included
  std::span<r8> columns_of_mesh(i4 i);

  void lay_column(std::span<const r8> below, i4 i, i4 j);
  void forward_in_plane(i4 i);
  void forward_along_y();
  std::span<r8> in_panel(i4 n, std::size_t lines);
  void transform_panel(i4 n, std::size_t lines, i4 isign);
  void keep_only(std::span<const i4> idx);
  void inverse_along_y();
  void inverse_in_plane(i4 i);

  const mesh_state& mesh_;
  cube_size cube_size_;
  importance importance_;
  owned_array1<r8> cube_;  // (ncube_z * ncube_x * ncube_y)
  std::vector<r8> panel_;
  std::size_t group_;                    // neighbouring lines along y or x that go back together
  std::vector<char> occupied_;           // by kept coefficients: which groups of a plane
  std::vector<char> occupied_in_plane_;  // the same of those at one position along x, of all positions
  coefficient_selection selection_;
};

}  // namespace velko
