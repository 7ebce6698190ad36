/// Row compression: a row of G in the wavelet domain, and the few coefficients of it that matter.
///
/// What     a row is laid on the cube as MODEL_TO_CUBE lays a model, transformed as WTN does it, and cut down to the
///          coefficients that matter most (coefficient_selection.h). restore() goes the way back, to the row that the kept ones
///          stand for
/// Air      elements of the cube above the surface and beyond the mesh meet a model that is 0 there, so a row may hold
///          anything in them that leaves it smooth: its topmost value in the air of a column, and beyond the mesh a
///          straight line to the value at the other side, where the periodic transform goes on. A step down to 0 at
///          the surface takes twice as many coefficients, and what it loses of them adds up over the ground
/// Why      with an orthonormal filter the product of row and model is that of their transforms, and by the
///          inequality of Cauchy and Schwarz it loses at most sqrt(budget) |model|
/// Cost     memory is what a row waits for, so a plane of the row goes through all that can be done with it while it is in cache,
///          there and back, and the cube is written and read once on each way. Lines beyond the mesh are transformed only where
///          they have to be: along z those of the mesh, along x those of its planes. Along y go those whose energy doesn't tell
///          that all their coefficients are negligible, and on the way back what holds a kept coefficient
/// Shapes   row(ncol), surface order; idx counts from 1 in coefficients(ncube_z, ncube_x, ncube_y), ascending
/// Memory   for each object a cube of r8, and what coefficient_selection needs
/// Errors   none
/// Threads  an object holds work arrays and belongs to one thread; SET_WTN_FILTER comes before all of them
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <span>
#include <vector>

#include "arrays/array.h"
#include "builder/coefficient_selection.h"
#include "builder/cube_size.h"
#include "store/state.h"

namespace velko {

class row_compressor {
 public:
  row_compressor(const mesh_state& shared_mesh, const cube_size& cube);

  /// The cells of plane i of a row. All planes are laid, from the first to the last, before anything is chosen.
  void lay(i4 i, std::span<const r8> below_surface);
  void lay_all(std::span<const r8> row);

  /// Cells of a row below the surface in plane i.
  std::size_t cells_in_plane(i4 i) const { return cells_in_plane_[count(i - 1)]; }

  /// Valid until the next call of a member but restore(). Rows can be chosen from again until they are restored.
  compressed_row choose(r8 budget);

  /// Turns coefficients into the row that they, rounded to r4, stand for: calls
  /// on_column(place of its first cell in the row, cells below the surface) for each column, in surface order.
  template <class action>
  void restore(const compressed_row& kept, const action& on_column) {
    inverse_along_y(kept);
    std::size_t done = 0;
    for (i4 i = 1; i <= mesh_.ny; ++i) {
      inverse_in_plane(i);
      for (i4 j = 1; j <= mesh_.nx; ++j) {
        const std::span<const r8> below = column(j).subspan(count(mesh_.itop(i, j)));
        on_column(done, below);
        done += below.size();
      }
    }
  }

 private:
  static std::size_t count(i4 n) { return static_cast<std::size_t>(n); }

  std::span<r8> line_along_z(i4 j) {
    return plane_.elements().subspan(count(size_.z) * count(j - 1), count(size_.z));
  }
  std::span<r8> column(i4 j) { return line_along_z(j).first(count(mesh_.nz)); }  // air included
  std::span<r8> columns_of_mesh() { return plane_.elements().first(count(size_.z) * count(mesh_.nx)); }

  std::size_t batches() const { return plane_.elements().size() / lines_of_batch; }
  std::span<r8> element_of_lines(std::size_t first, std::size_t lines, i4 i);
  std::span<r8> stored_plane(i4 i);

  void lay_column(std::span<const r8> below, i4 j);
  void forward_in_plane();
  void store_lines(i4 i);
  void add_bridge_energies(std::size_t first);
  std::span<r8> lines_along_y(std::size_t first);

  void sort_by_batch(std::span<const i4> idx);
  void inverse_along_y(const compressed_row& kept);
  void inverse_in_plane(i4 i);
  void inverse_along_x(i4 i, std::size_t first_of_column);

  const mesh_state& mesh_;
  cube_size size_;
  std::vector<std::size_t> cells_in_plane_;
  // A plane is rounded up to whole batches. On the way there the cube holds panels of lines along y: element 1 of all lines of
  // the panel, element 2, and so on. On the way back it holds planes, of which only the batches with a kept coefficient are
  // written and read.
  owned_array1<r8> cube_;
  owned_array1<r8> plane_;  // (ncube_z, ncube_x), the one at hand
  std::size_t lines_of_panel_;
  owned_array1<r8> energies_;  // of lines along y, by position in a plane
  std::vector<r8> lines_;      // a batch of lines along x or y
  coefficient_selection selection_;
  std::vector<std::size_t> end_of_batch_;  // where the coefficients of each batch end in by_batch_
  std::vector<std::size_t> by_batch_;      // places in a list of coefficients
  std::vector<char> occupied_at_z_;        // batches of positions along z that hold a coefficient anywhere
};

}  // namespace velko
