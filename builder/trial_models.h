/// Trial models: what the data of a survey lose with the coefficients that rows drop, told by models like those that
/// a survey is made for.
///
/// What     uniform ground; magnetised hills (all that lies above the median of the surface below the stations); blocks
///          whose tops are as deep as they are high, below all the ground, positive and negative as the squares of a chessboard, for
///          three depths; a dipping
///          dyke; ground whose values change smoothly and at random
/// Why      the norm of a row is that of the cells close to its datum: what becomes of the weak and the many, which
///          data are made of, it does not tell
/// Size     all sizes are parts of the extent of the stations: 1/16, 1/8 and 1/4 for the depths of the blocks
/// Shapes   column: the cells below the surface of one column, from the top
/// Units    susceptibility (SI)
/// Bits     plain arithmetic alone: the same on every machine
/// Threads  read only once it stands
#pragma once

#include <array>
#include <span>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"
#include "store/state.h"

namespace velko {

class trial_models {
 public:
  static constexpr std::array<std::string_view, 7> names{
      "uniform ground", "hills", "shallow blocks", "blocks", "deep blocks", "a dyke", "smooth ground"};
  static constexpr std::size_t count = names.size();

  trial_models(const mesh_state& shared_mesh, const survey_state& s);

  /// Values of a model in column (i, j), counted from 1; false where they are 0 throughout, and are not written then.
  bool fill_column(std::size_t model, i4 i, i4 j, std::span<r8> values) const;

 private:
  struct column {
    i4 first;  // layer of its topmost cell
    r8 x, y;   // of its middle, from the middle of the stations
  };
  r8 middle_below_top(const column& at, std::size_t n) const;
  template <class condition>
  void fill_where(const column& at, r8 value, std::span<r8> values, const condition& holds_at_depth) const;
  bool fill_blocks(const column& at, r8 side, std::span<r8> values) const;
  bool fill_dyke(const column& at, std::span<r8> values) const;
  void fill_smooth(const column& at, std::span<r8> values) const;

  const mesh_state& mesh_;
  r8 middle_x_ = 0, middle_y_ = 0, extent_ = 0;
  r8 median_ground_ = 0;
  std::vector<r8> lattice_;  // random values of the smooth ground, repeated beyond
};

}  // namespace velko
