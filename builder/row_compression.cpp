// Letters: i along y, j along x, k down a column.
#include "builder/row_compression.h"

#include <algorithm>
#include <bit>

#include "arrays/instruction_set.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

/// Where the mesh ends along an axis: what lies n elements beyond lies on the straight line from the last element of
/// the mesh to the first one, behind which the transform goes on. An axis that isn't transformed ends in zeros.
class bridge {
 public:
  bridge(i4 cells, i4 elements) : beyond_(elements - cells), ends_in_zeros_(elements <= 4) {}

  i4 beyond() const { return beyond_; }

  template <class number>
  VELKO_ALWAYS_INLINE void value(const number& last, const number& first, i4 n, number& at) const {
    at = ends_in_zeros_ ? number{} : last + (first - last) * (static_cast<r8>(n + 1) / (beyond_ + 1));
  }
  void lay(std::span<const r8> last, std::span<const r8> first, i4 n, std::span<r8> at) const {
    for (std::size_t k = 0; k < at.size(); ++k) value(last[k], first[k], n, at[k]);
  }

 private:
  i4 beyond_;
  bool ends_in_zeros_;
};

/// So many lines stand side by side, as far as there are: a line along y in a panel of its own would be written to a page of its
/// own for each element.
constexpr std::size_t most_lines_of_panel = 64;

std::size_t whole_batches(std::size_t elements) {
  return (elements + lines_of_batch - 1) / lines_of_batch * lines_of_batch;
}

r8x8_mem& eight_at(std::span<r8> a) {
  return *reinterpret_cast<r8x8_mem*>(a.data());
}

}  // namespace

row_compressor::row_compressor(const mesh_state& shared_mesh, const cube_size& cube)
    : mesh_(shared_mesh),
      size_(cube),
      cells_in_plane_(count(mesh_.ny)),
      plane_(static_cast<i8>(whole_batches(count(cube.z) * count(cube.x)))),
      lines_of_panel_(std::min(most_lines_of_panel, plane_.elements().size())),
      energies_(plane_.size()),
      lines_(lines_of_batch * count(std::max(cube.x, cube.y))),
      selection_(importance(cube)),
      end_of_batch_(batches() + 1),
      occupied_at_z_(std::max<std::size_t>(count(cube.z) / lines_of_batch, 1)) {
  cube_ = owned_array1<r8>(plane_.size() * cube.y);
  for (i4 i = 1; i <= mesh_.ny; ++i)
    for (i4 j = 1; j <= mesh_.nx; ++j) cells_in_plane_[count(i - 1)] += count(mesh_.nz - mesh_.itop(i, j));
}

/// Element i of so many neighbouring lines along y, in one panel.
std::span<r8> row_compressor::element_of_lines(std::size_t first, std::size_t lines, i4 i) {
  const std::size_t in_panel = first % lines_of_panel_, panel = first - in_panel;
  return cube_.elements().subspan(panel * count(size_.y) + lines_of_panel_ * count(i - 1) + in_panel, lines);
}

std::span<r8> row_compressor::stored_plane(i4 i) {
  const std::size_t elements = plane_.elements().size();
  return cube_.elements().subspan(count(i - 1) * elements, elements);
}

void row_compressor::lay_all(std::span<const r8> row) {
  std::size_t done = 0;
  for (i4 i = 1; i <= mesh_.ny; ++i) {
    lay(i, row.subspan(done, cells_in_plane(i)));
    done += cells_in_plane(i);
  }
}

void row_compressor::lay(i4 i, std::span<const r8> below_surface) {
  std::size_t done = 0;
  for (i4 j = 1; j <= mesh_.nx; ++j) {
    const std::size_t below = count(mesh_.nz - mesh_.itop(i, j));
    lay_column(below_surface.subspan(done, below), j);
    done += below;
  }
  forward_in_plane();
  store_lines(i);
  if (i == mesh_.ny && mesh_.ny < size_.y)
    for (std::size_t n = 0; n < batches(); ++n) add_bridge_energies(lines_of_batch * n);
}

/// A column without a cell below the surface is 0 throughout.
void row_compressor::lay_column(std::span<const r8> below, i4 j) {
  const std::span<r8> whole = column(j);
  const std::size_t air = whole.size() - below.size();
  std::fill_n(whole.begin(), air, below.empty() ? 0.0 : below.front());
  std::copy(below.begin(), below.end(), whole.begin() + static_cast<std::ptrdiff_t>(air));
  const bridge under(mesh_.nz, size_.z);
  const std::span<r8> beyond = line_along_z(j).subspan(whole.size());
  for (i4 n = 0; n < under.beyond(); ++n) under.value(whole.back(), whole.front(), n, beyond[count(n)]);
}

void row_compressor::forward_in_plane() {
  WTN_along(columns_of_mesh(), size_.z, 1, 1);
  const bridge beside(mesh_.nx, size_.x);
  for (i4 n = 0; n < beside.beyond(); ++n)
    beside.lay(line_along_z(mesh_.nx), line_along_z(1), n, line_along_z(mesh_.nx + 1 + n));
  WTN_along(plane_.elements().first(count(size_.z) * count(size_.x)), size_.x, size_.z, 1);
}

void row_compressor::store_lines(i4 i) {
  if (i == 1) std::ranges::fill(energies_, 0.0);
  for (std::size_t first = 0; first < plane_.elements().size(); first += lines_of_panel_) {
    const auto of_panel = [&](owned_array1<r8>& a) { return a.elements().subspan(first, lines_of_panel_); };
    const std::span<const r8> values = of_panel(plane_);
    const std::span<r8> energies = of_panel(energies_);
    std::ranges::copy(values, element_of_lines(first, lines_of_panel_, i).begin());
    for (std::size_t line = 0; line < values.size(); ++line) energies[line] += values[line] * values[line];
  }
}

void row_compressor::add_bridge_energies(std::size_t first) {
  const bridge behind(mesh_.ny, size_.y);
  const r8x8 begin = eight_at(element_of_lines(first, lines_of_batch, 1)),
             end = eight_at(element_of_lines(first, lines_of_batch, mesh_.ny));
  r8x8_mem& energies = eight_at(energies_.elements().subspan(first));
  for (i4 n = 0; n < behind.beyond(); ++n) {
    r8x8 value;
    behind.value(end, begin, n, value);
    energies += value * value;
  }
}

/// A batch of lines, with what lies beyond the mesh.
std::span<r8> row_compressor::lines_along_y(std::size_t first) {
  const std::span<r8> lines = std::span(lines_).first(lines_of_batch * count(size_.y));
  const auto element = [&](i4 i) { return lines.subspan(lines_of_batch * count(i - 1), lines_of_batch); };
  for (i4 i = 1; i <= mesh_.ny; ++i)
    eight_at(element(i)) = eight_at(element_of_lines(first, lines_of_batch, i));
  const bridge behind(mesh_.ny, size_.y);
  for (i4 n = 0; n < behind.beyond(); ++n)
    behind.lay(element(mesh_.ny), element(1), n, element(mesh_.ny + 1 + n));
  return lines;
}

compressed_row row_compressor::choose(r8 budget) {
  selection_.begin(budget);
  for (std::size_t first = 0; first < plane_.elements().size(); first += lines_of_batch) {
    if (selection_.settles(first, eight_at(energies_.elements().subspan(first)))) continue;
    const std::span<r8> lines = lines_along_y(first);
    WTN_along(lines, size_.y, lines_of_batch, 1);
    selection_.offer(first, lines);
  }
  return selection_.choose();
}

/// Places of the coefficients in the order of their batches; in one batch they ascend.
void row_compressor::sort_by_batch(std::span<const i4> idx) {
  const auto in_plane = static_cast<std::uint32_t>(size_.z * size_.x - 1);
  const auto batch_of = [&](i4 position) {
    return (static_cast<std::uint32_t>(position - 1) & in_plane) / lines_of_batch;
  };
  std::ranges::fill(end_of_batch_, 0);
  for (const i4 position : idx) ++end_of_batch_[batch_of(position) + 1];
  for (std::size_t n = 1; n < end_of_batch_.size(); ++n) end_of_batch_[n] += end_of_batch_[n - 1];
  by_batch_.resize(idx.size());
  // Counted up, the beginning of each batch becomes its end.
  for (std::size_t place = 0; place < idx.size(); ++place)
    by_batch_[end_of_batch_[batch_of(idx[place])]++] = place;
}

void row_compressor::inverse_along_y(const compressed_row& kept) {
  sort_by_batch(kept.idx);
  std::ranges::fill(occupied_at_z_, char{0});
  const std::span<r8> lines = std::span(lines_).first(lines_of_batch * count(size_.y));
  const std::size_t plane = count(size_.z) * count(size_.x);
  const auto shift = std::countr_zero(plane);
  std::size_t next = 0;
  for (std::size_t n = 0; n < batches(); ++n) {
    const std::size_t end = end_of_batch_[n];
    if (next == end) continue;
    occupied_at_z_[n % occupied_at_z_.size()] = 1;
    std::ranges::fill(lines, 0.0);
    for (; next < end; ++next) {
      const std::size_t place = by_batch_[next], position = count(kept.idx[place] - 1);
      lines[lines_of_batch * (position >> shift) + position % lines_of_batch % plane] =
          static_cast<r4>(kept.values[place]);
    }
    WTN_along(lines, size_.y, lines_of_batch, -1);
    for (i4 i = 1; i <= mesh_.ny; ++i)
      eight_at(stored_plane(i).subspan(lines_of_batch * n)) =
          eight_at(lines.subspan(lines_of_batch * count(i - 1)));
  }
}

/// Along x for those depths and details along z alone of which any coefficient was kept.
void row_compressor::inverse_in_plane(i4 i) {
  const std::size_t together = std::min(lines_of_batch, count(size_.z));
  for (std::size_t n = 0; n < occupied_at_z_.size(); ++n) inverse_along_x(i, n * together);
  WTN_along(columns_of_mesh(), size_.z, 1, -1);
}

void row_compressor::inverse_along_x(i4 i, std::size_t k) {
  const std::size_t together = std::min(lines_of_batch, count(size_.z));
  const auto in_column = [&](i4 j) { return line_along_z(j).subspan(k, together); };
  if (!occupied_at_z_[k / together]) {
    for (i4 j = 1; j <= mesh_.nx; ++j) std::ranges::fill(in_column(j), 0.0);
    return;
  }
  const std::span<r8> lines = std::span(lines_).first(together * count(size_.x));
  for (i4 j = 1; j <= size_.x; ++j) {
    const std::size_t position = count(size_.z) * count(j - 1) + k, n = position / lines_of_batch;
    const std::span<r8> element = lines.subspan(together * count(j - 1), together);
    const bool is_kept = end_of_batch_[n] > (n == 0 ? 0 : end_of_batch_[n - 1]);
    if (is_kept)
      std::ranges::copy(stored_plane(i).subspan(position, together), element.begin());
    else
      std::ranges::fill(element, 0.0);
  }
  WTN_along(lines, size_.x, static_cast<i8>(together), -1);
  for (i4 j = 1; j <= mesh_.nx; ++j)
    std::ranges::copy(lines.subspan(together * count(j - 1), together), in_column(j).begin());
}

}  // namespace velko
