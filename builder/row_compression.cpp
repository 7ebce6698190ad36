// Letters: i along y, j along x, k down a column.
#include "builder/row_compression.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "arrays/instruction_set.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

/// Lines along y are far apart in the cube; so many neighbours are copied out together. Fewer on the way back, where those
/// without a kept coefficient are left out.
constexpr std::size_t lines_of_panel = 64, lines_of_group = 16;

r8 energy_at(std::span<const r8> coefficients, i4 idx) {
  const r8 c = coefficients[static_cast<std::size_t>(idx) - 1];
  return c * c;
}

/// Positive numbers and their bit patterns have the same order.
std::size_t bin_of(r8 energy) {
  constexpr int bits_behind_exponent = 2;
  return std::bit_cast<std::uint64_t>(energy) >> (52 - bits_behind_exponent);
}

/// Cells that the wavelets at the positions of an axis span; 1 where it is not transformed. The first two positions
/// are what stays smooth.
std::vector<i4> extents(i4 n) {
  std::vector<i4> cells(static_cast<std::size_t>(n), 1);
  if (n <= 4) return cells;
  for (i4 p = 0; p < n; ++p)
    cells[static_cast<std::size_t>(p)] =
        n / static_cast<i4>(std::bit_floor(static_cast<std::uint32_t>(std::max(p, 2))));
  return cells;
}

/// Fourth roots, as the energy is multiplied by the square root.
std::vector<r8> importance_along(i4 n) {
  std::vector<r8> factors;
  for (const i4 cells : extents(n)) factors.push_back(std::sqrt(static_cast<r8>(cells)));
  return factors;
}

/// Where the mesh ends along an axis: what lies n elements beyond lies on the straight line from the last element of
/// the mesh to the first one, behind which the transform goes on. An axis that isn't transformed ends in zeros.
class bridge {
 public:
  bridge(i4 cells, i4 elements) : steps_(elements > 4 ? elements - cells + 1 : 0) {}

  void lay(std::span<const r8> last, std::span<const r8> first, i4 n, std::span<r8> beyond) const {
    if (steps_ == 0) {
      std::ranges::fill(beyond, 0.0);
      return;
    }
    const r8 to_first = static_cast<r8>(n + 1) / steps_;
    for (std::size_t k = 0; k < beyond.size(); ++k) beyond[k] = last[k] + (first[k] - last[k]) * to_first;
  }

 private:
  i4 steps_;
};

}  // namespace

r8 scalar_product(std::span<const r8> a, std::span<const r8> b) {
  r8x8 part{};
  std::size_t c = 0;
  for (; c + 8 <= a.size(); c += 8)
    part += *reinterpret_cast<const r8x8_mem*>(&a[c]) * *reinterpret_cast<const r8x8_mem*>(&b[c]);
  r8 sum = ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
  for (; c < a.size(); ++c) sum += a[c] * b[c];
  return sum;
}

importance::importance(const cube_size& cube)
    : z_(importance_along(cube.z)), x_(importance_along(cube.x)), y_(importance_along(cube.y)) {}

std::span<const i4> coefficient_selection::choose(std::span<const r8> coefficients, const importance& factors,
                                                  r8 budget) {
  // Most coefficients are so small that even all together, were they all like this, they would not use the budget
  // up. One pass without comparing them to each other settles them.
  const r8 negligible = budget / static_cast<r8>(std::max<std::size_t>(coefficients.size(), 1));
  r8 discarded = pass_over_negligible(coefficients, factors, negligible);
  const std::size_t bin = last_bin_to_discard(coefficients, factors, budget, discarded);
  discard_from_bin(coefficients, factors, bin, budget, discarded);
  return kept_;
}

/// Leaves the others in kept_, and gives the energy of the negligible ones. No factor is below 1. Where eight in a row are
/// negligible, which is the rule, they are looked at together.
r8 coefficient_selection::pass_over_negligible(std::span<const r8> coefficients, const importance& factors,
                                               r8 negligible) {
  const std::span<const r8> along_line = factors.along_line();
  r8x8 discarded_together{};
  r8 discarded = 0.0;
  kept_.resize(coefficients.size() + 1);
  std::size_t left = 0;
  for (std::size_t line = 0, start = 0; line < factors.lines(); ++line, start += along_line.size()) {
    const r8 of_line = factors.of_line(line);
    std::size_t k = 0;
    const auto pass_over_until = [&](std::size_t end) {
      for (; k < end; ++k) {
        const r8 energy = coefficients[start + k] * coefficients[start + k];
        const bool stays = energy * (along_line[k] * of_line) > negligible;
        kept_[left] = static_cast<i4>(start + k) +
                      1;  // overwritten by the next unless it stays: no branch to mispredict
        left += stays;
        discarded += stays ? 0.0 : energy;
      }
    };
    while (k + 8 <= along_line.size()) {
      const r8x8 c = *reinterpret_cast<const r8x8_mem*>(&coefficients[start + k]), energy = c * c;
      const r8x8 matters = energy * (*reinterpret_cast<const r8x8_mem*>(&along_line[k]) * of_line);
      r8 largest = matters[0];
      for (int lane = 1; lane < 8; ++lane) largest = std::max(largest, matters[lane]);
      if (largest > negligible) {
        pass_over_until(k + 8);
      } else {
        discarded_together += energy;
        k += 8;
      }
    }
    pass_over_until(along_line.size());
  }
  kept_.resize(left);
  for (int lane = 0; lane < 8; ++lane) discarded += discarded_together[lane];
  return discarded;
}

/// The bin in which the budget runs out. The energy of those below it is added to `discarded`.
std::size_t coefficient_selection::last_bin_to_discard(std::span<const r8> coefficients,
                                                       const importance& factors, r8 budget, r8& discarded) {
  bin_energy_.fill(0.0);
  bin_.clear();
  for (const i4 idx : kept_) {
    const r8 energy = energy_at(coefficients, idx);
    const std::size_t bin = bin_of(energy * factors.at(idx));
    bin_.push_back(static_cast<std::uint16_t>(bin));
    bin_energy_[bin] += energy;
  }
  std::size_t bin = 0;
  for (; bin < bins && discarded + bin_energy_[bin] <= budget; ++bin) discarded += bin_energy_[bin];
  return bin;
}

/// Takes out of kept_ what lies below the bin, and as many in the bin as the budget allows.
void coefficient_selection::discard_from_bin(std::span<const r8> coefficients, const importance& factors,
                                             std::size_t bin, r8 budget, r8 discarded) {
  in_bin_.clear();
  for (std::size_t n = 0; n < kept_.size(); ++n)
    if (bin_[n] == bin) in_bin_.push_back(kept_[n]);
  const auto goes_first = [&](i4 a, i4 b) {
    const r8 matters_a = energy_at(coefficients, a) * factors.at(a);
    const r8 matters_b = energy_at(coefficients, b) * factors.at(b);
    return matters_a != matters_b ? matters_a < matters_b : a > b;
  };
  std::sort(in_bin_.begin(), in_bin_.end(), goes_first);
  auto stays = in_bin_.begin();
  for (; stays != in_bin_.end() && discarded + energy_at(coefficients, *stays) <= budget; ++stays)
    discarded += energy_at(coefficients, *stays);

  const bool all_go = stays == in_bin_.end();
  std::size_t left = 0;
  for (std::size_t n = 0; n < kept_.size(); ++n) {
    const bool goes = bin_[n] < bin || (bin_[n] == bin && (all_go || goes_first(kept_[n], *stays)));
    if (!goes) kept_[left++] = kept_[n];
  }
  kept_.resize(left);
}

row_compressor::row_compressor(const mesh_state& shared_mesh, const cube_size& cube)
    : mesh_(shared_mesh),
      cube_size_(cube),
      importance_(cube),
      cube_(i8{cube.z} * cube.x * cube.y),
      panel_(std::min(lines_of_panel, count(cube.z) * count(cube.x)) *
             std::max(count(cube.x), count(cube.y))),
      group_(std::min(lines_of_group, count(cube.z))),
      occupied_(count(cube.z) * count(cube.x) / group_),
      occupied_in_plane_(count(cube.z) / group_) {}

std::span<r8> row_compressor::plane(i4 i) {
  const std::size_t size = count(cube_size_.z) * count(cube_size_.x);
  return cube_.elements().subspan(size * count(i - 1), size);
}

std::span<r8> row_compressor::column(i4 i, i4 j) {
  return plane(i).subspan(count(cube_size_.z) * count(j - 1), count(mesh_.nz));
}

std::span<r8> row_compressor::columns_of_mesh(i4 i) {
  return plane(i).first(count(cube_size_.z) * count(mesh_.nx));
}

void row_compressor::transform(std::span<const r8> row) {
  std::size_t done = 0;
  for (i4 i = 1; i <= mesh_.ny; ++i) {
    for (i4 j = 1; j <= mesh_.nx; ++j) {
      const std::size_t below = count(mesh_.nz - mesh_.itop(i, j));
      lay_column(row.subspan(done, below), i, j);
      done += below;
    }
    forward_in_plane(i);
  }
  forward_along_y();
}

/// A column without a cell below the surface is 0 throughout.
void row_compressor::lay_column(std::span<const r8> below, i4 i, i4 j) {
  const std::span<r8> whole = column(i, j);
  const std::size_t air = whole.size() - below.size();
  std::fill_n(whole.begin(), air, below.empty() ? 0.0 : below.front());
  std::copy(below.begin(), below.end(), whole.begin() + static_cast<std::ptrdiff_t>(air));
  const bridge under(mesh_.nz, cube_size_.z);
  for (i4 n = 0; n < cube_size_.z - mesh_.nz; ++n)
    under.lay(whole.last(1), whole.first(1), n, {whole.data() + whole.size() + n, 1});
}

void row_compressor::forward_in_plane(i4 i) {
  const i4 nz = cube_size_.z;
  WTN_along(columns_of_mesh(i), nz, 1, 1);
  const auto line = [&](i4 j) { return plane(i).subspan(count(nz) * count(j - 1), count(nz)); };
  const bridge beside(mesh_.nx, cube_size_.x);
  for (i4 n = 0; n < cube_size_.x - mesh_.nx; ++n)
    beside.lay(line(mesh_.nx), line(1), n, line(mesh_.nx + 1 + n));
  WTN_along(plane(i), cube_size_.x, nz, 1);
}

/// The panel of lines along an axis: element n of all of them, one behind another.
std::span<r8> row_compressor::in_panel(i4 n, std::size_t lines) {
  return std::span(panel_).subspan(lines * count(n - 1), lines);
}

void row_compressor::forward_along_y() {
  const std::size_t size = plane(1).size(), lines = std::min(lines_of_panel, size);
  const bridge behind(mesh_.ny, cube_size_.y);
  for (std::size_t first = 0; first < size; first += lines) {
    for (i4 i = 1; i <= mesh_.ny; ++i)
      std::ranges::copy(plane(i).subspan(first, lines), in_panel(i, lines).begin());
    for (i4 n = 0; n < cube_size_.y - mesh_.ny; ++n)
      behind.lay(in_panel(mesh_.ny, lines), in_panel(1, lines), n, in_panel(mesh_.ny + 1 + n, lines));
    transform_panel(cube_size_.y, lines, 1);
    for (i4 i = 1; i <= cube_size_.y; ++i)
      std::ranges::copy(in_panel(i, lines), plane(i).subspan(first, lines).begin());
  }
}

void row_compressor::transform_panel(i4 n, std::size_t lines, i4 isign) {
  WTN_along(std::span(panel_).first(lines * count(n)), n, static_cast<i8>(lines), isign);
}

compressed_row row_compressor::choose(r8 budget) {
  return {selection_.choose(cube_.elements(), importance_, budget), cube_.elements()};
}

void row_compressor::take(std::span<const i4> idx, std::span<const r4> val) {
  for (std::size_t k = 0; k < idx.size(); ++k) cube_(idx[k]) = val[k];
}

/// Between two kept coefficients all are set to 0.
void row_compressor::keep_only(std::span<const i4> idx) {
  std::ranges::fill(occupied_, char{0});
  std::ranges::fill(occupied_in_plane_, char{0});
  r8* next = cube_.begin();
  for (const i4 position : idx) {
    r8* const kept = cube_.begin() + position - 1;
    std::fill(next, kept, 0.0);
    *kept = static_cast<r4>(*kept);
    next = kept + 1;
    const std::size_t group = count(position - 1) % plane(1).size() / group_;
    occupied_[group] = 1;
    occupied_in_plane_[group % occupied_in_plane_.size()] = 1;
  }
  std::fill(next, cube_.end(), 0.0);
}

void row_compressor::inverse_along_y() {
  if (cube_size_.y <= 4) return;
  for (std::size_t group = 0; group < occupied_.size(); ++group) {
    if (!occupied_[group]) continue;
    const auto elements = [&](i4 i) { return plane(i).subspan(group * group_, group_); };
    for (i4 i = 1; i <= cube_size_.y; ++i) std::ranges::copy(elements(i), in_panel(i, group_).begin());
    transform_panel(cube_size_.y, group_, -1);
    for (i4 i = 1; i <= mesh_.ny; ++i) std::ranges::copy(in_panel(i, group_), elements(i).begin());
  }
}

/// Along x for those depths and details along z alone of which any coefficient was kept.
void row_compressor::inverse_in_plane(i4 i) {
  for (std::size_t group = 0; group < occupied_in_plane_.size() && cube_size_.x > 4; ++group) {
    if (!occupied_in_plane_[group]) continue;
    const auto elements = [&](i4 j) {
      return plane(i).subspan(count(cube_size_.z) * count(j - 1) + group * group_, group_);
    };
    for (i4 j = 1; j <= cube_size_.x; ++j) std::ranges::copy(elements(j), in_panel(j, group_).begin());
    transform_panel(cube_size_.x, group_, -1);
    for (i4 j = 1; j <= mesh_.nx; ++j) std::ranges::copy(in_panel(j, group_), elements(j).begin());
  }
  WTN_along(columns_of_mesh(i), cube_size_.z, 1, -1);
}

}  // namespace velko
