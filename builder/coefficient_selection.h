/// Coefficient selection: the few coefficients of a row that matter most.
///
/// What     so many coefficients are kept as are needed for the energy of the others to stay within a budget
/// Matters  a coefficient by its energy times the square root of the number of cells that its wavelet spans: the model
///          that it meets is smooth rather than white, so a broad wavelet does more to the data (evidence:
///          benchmarks/README.md)
/// Order    lines along y are offered eight at a time, each once, before any is known to the others: what can't matter whatever
///          the others are is settled there, all at once for a line whose energy is that small
/// Ties     of those that matter equally the ones with the lower idx stay
/// Shapes   idx counts from 1, z fastest, then x, then y; so does a position in a plane of the first two
/// Memory   24 bytes for each coefficient that isn't settled when it is offered
/// Bits     the same on every machine
/// Errors   none
/// Threads  an object holds work arrays and belongs to one thread
#pragma once

#include <array>
#include <span>
#include <vector>

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"
#include "builder/cube_size.h"

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
  importance(std::vector<r8> along_z, std::vector<r8> along_x, std::vector<r8> along_y);

  std::size_t plane() const { return z_.size() * x_.size(); }
  std::span<const r8> along_y() const { return y_; }
  r8 largest_along_y() const { return largest_y_; }
  r8 in_plane(std::size_t position) const { return z_[position % z_.size()] * x_[position / z_.size()]; }
  r8 at(i4 idx) const {
    const std::size_t position = static_cast<std::size_t>(idx) - 1;
    return in_plane(position % plane()) * y_[position / plane()];
  }

 private:
  std::vector<r8> z_, x_, y_;
  r8 largest_y_;
};

/// One datum's row of G in the wavelet domain, before it is narrowed to the types of the file.
struct compressed_row {
  std::span<const i4> idx;     // ascending
  std::span<const r8> values;  // of these coefficients
};

/// Neighbouring lines along y that stay together, element n of all of them one behind another.
inline constexpr std::size_t lines_of_batch = 8;

class coefficient_selection {
 public:
  explicit coefficient_selection(importance factors, instruction_set set = best_instruction_set());

  /// At most `budget` of energy may go. A coefficient of 0 is never kept; with a budget of 0 all others are.
  void begin(r8 budget);

  /// Whether lines of such energies, the first at that position in its plane, hold nothing that could stay. If so they are
  /// settled, and need not be offered.
  bool settles(std::size_t first, const r8x8_mem& energies);

  /// Lines that reach beyond the plane hold zeros.
  void offer(std::size_t first, std::span<const r8> batch);

  /// Valid until the next call of a member.
  compressed_row choose();

 private:
  /// Coefficients that matter about as much, told apart by the exponent and the first two bits behind.
  static constexpr std::size_t bins = std::size_t{1} << 13;

  struct candidate {
    r8 value, matters;
    i4 idx;
  };
  struct candidates {
    std::vector<candidate> all;  // the first `count` of them, ascending
    std::size_t count = 0;
    std::span<const candidate> found() const { return std::span(all).first(count); }
  };

  const r8x8_mem& factors_at(std::size_t first) const {
    return *reinterpret_cast<const r8x8_mem*>(&in_plane_[first]);
  }
  void pick(std::size_t plane, std::size_t first, const r8* coefficients);
  std::size_t last_bin_to_discard(r8& discarded);
  void discard_until(std::size_t bin, r8 discarded);

  importance factors_;
  instruction_set set_;
  r8 budget_ = 0, negligible_ = 0;
  r8x8 discarded_{};
  std::vector<r8> in_plane_;         // factors, in whole batches
  std::vector<candidates> planes_;   // of every position along y
  std::vector<i4> that_matter_;      // positions along y, of the batch at hand
  std::vector<candidate> in_bin_;    // those of the bin in which the budget ends
  std::array<r8, bins> bin_energy_;  // sum of the energies
  std::vector<i4> idx_;
  std::vector<r8> values_;
};

}  // namespace velko
