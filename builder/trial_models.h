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
/// Cost     data take a tenth of the time of a row, or less: all models but the last are runs of cells of one value
/// Shapes   column: the cells below the surface of one column, from the top
/// Units    susceptibility (SI); data in those of the row for a susceptibility of 1
/// Memory   144 bytes for each column of the mesh
/// Bits     plain arithmetic alone: the same on every machine
/// Threads  read only once it stands
/// See      docs/accuracy.md
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

  /// What the models give for one row.
  struct sums {
    std::array<r8, count> data{}, lost{};
  };

  trial_models(const mesh_state& shared_mesh, const survey_state& s);

  /// Values of a model in column (i, j), counted from 1.
  void fill_column(std::size_t model, i4 i, i4 j, std::span<r8> values) const;

  /// Adds what column (i, j) gives to the data of each model, from a row of G and from what that lost, both in the model's own units.
  void add_column(i4 i, i4 j, std::span<const r8> row, std::span<const r8> lost, sums& to) const;

 private:
  /// Cells of one value, one below another; all others of the column are 0.
  struct run {
    std::size_t first = 0, count = 0;
    r8 value = 0;
  };
  static constexpr std::size_t smooth_ground = count - 1;  // all models before it are runs
  using runs = std::array<run, smooth_ground>;

  static constexpr int lattice_points = 16;  // along each axis, a power of two
  using levels = std::array<r8, lattice_points>;

  /// A place between the points of the lattice: the point before it, and the part that the one behind takes in its value.
  /// Both are met smoothly.
  struct lattice_place {
    std::size_t before, behind;
    r8 part;
  };
  static lattice_place place_in_lattice(r8 steps);

  struct column_place {
    i4 first;  // layer of its topmost cell
    r8 x, y;   // of its middle, from the middle of the stations
  };
  column_place place_of(i4 i, i4 j) const;

  const runs& runs_at(i4 i, i4 j) const;
  runs runs_of(const column_place& at) const;
  run run_between(const column_place& at, r8 top, r8 bottom, r8 value) const;
  run uniform_ground(const column_place& at) const;
  run hills(const column_place& at) const;
  run block(const column_place& at, r8 side) const;
  run dyke(const column_place& at) const;

  void scatter_lattice();
  levels levels_at(const lattice_place& x, const lattice_place& y) const;
  void fill_smooth(i4 i, i4 j, std::span<r8> values) const;

  const mesh_state& mesh_;
  r8 middle_x_ = 0, middle_y_ = 0, extent_ = 0;
  r8 median_ground_ = 0;
  std::vector<r8> middles_;  // of layers, below the top of the mesh
  std::vector<runs> runs_;   // of the columns, j fastest
  std::vector<r8> lattice_;  // random values of the smooth ground, repeated beyond
  std::vector<lattice_place> along_y_, along_x_, down_;  // of the middles of cells
};

}  // namespace velko
