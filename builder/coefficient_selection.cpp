#include "builder/coefficient_selection.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

namespace velko {

namespace {

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

using i8x8 = i8 __attribute__((vector_size(64)));
using i8x4 = i8 __attribute__((vector_size(32)));

VELKO_ALWAYS_INLINE bool any_above(const r8x8& a, r8 bound) {
  const i8x8 above = a > bound;
  const i8x4 either =
      __builtin_shufflevector(above, above, 0, 1, 2, 3) | __builtin_shufflevector(above, above, 4, 5, 6, 7);
  return ((either[0] | either[1]) | (either[2] | either[3])) != 0;
}

/// Eight lines along y and what they are judged by.
struct offered_lines {
  std::span<const r8> batch, along_y;
  const r8x8_mem& in_plane;
  r8 negligible;
};

/// Positions along y at which any of the lines holds what is not negligible; the energy of the others is added up. Returns how
/// many there are. All eight are looked at together, as they are all negligible as a rule.
VELKO_ALWAYS_INLINE std::size_t scan(const offered_lines& lines, r8x8& discarded, i4* that_matter) {
  std::size_t found = 0;
  const r8x8 in_plane = lines.in_plane;
  r8x8 sum = discarded;
  for (std::size_t n = 0; n < lines.along_y.size(); ++n) {
    const r8x8 c = *reinterpret_cast<const r8x8_mem*>(&lines.batch[lines_of_batch * n]), energy = c * c;
    const bool matters = any_above(energy * (in_plane * lines.along_y[n]), lines.negligible);
    that_matter[found] = static_cast<i4>(n);  // overwritten by the next unless it matters
    found += matters;
    sum += matters ? energy * 0.0 : energy;
  }
  discarded = sum;
  return found;
}

std::size_t scan_sse2(const offered_lines& lines, r8x8& discarded, i4* that_matter) {
  return scan(lines, discarded, that_matter);
}
VELKO_TARGET_AVX2 std::size_t scan_avx2(const offered_lines& lines, r8x8& discarded, i4* that_matter) {
  return scan(lines, discarded, that_matter);
}
VELKO_TARGET_AVX512 std::size_t scan_avx512(const offered_lines& lines, r8x8& discarded, i4* that_matter) {
  return scan(lines, discarded, that_matter);
}

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
    : importance(importance_along(cube.z), importance_along(cube.x), importance_along(cube.y)) {}

importance::importance(std::vector<r8> along_z, std::vector<r8> along_x, std::vector<r8> along_y)
    : z_(std::move(along_z)),
      x_(std::move(along_x)),
      y_(std::move(along_y)),
      largest_y_(*std::ranges::max_element(y_)) {}

coefficient_selection::coefficient_selection(importance factors, instruction_set set)
    : factors_(std::move(factors)),
      set_(set),
      in_plane_((factors_.plane() + lines_of_batch - 1) / lines_of_batch * lines_of_batch),
      planes_(factors_.along_y().size()),
      that_matter_(factors_.along_y().size() + 1) {
  for (std::size_t position = 0; position < factors_.plane(); ++position)
    in_plane_[position] = factors_.in_plane(position);
}

/// A coefficient is negligible where even all together, were they all like it, would not use the budget up. No factor is
/// below 1.
void coefficient_selection::begin(r8 budget) {
  budget_ = budget;
  negligible_ = budget / static_cast<r8>(factors_.plane() * factors_.along_y().size());
  discarded_ = r8x8{};
  for (candidates& plane : planes_) plane.count = 0;
}

/// The transform keeps the energy of a line, so none of its coefficients has more.
bool coefficient_selection::settles(std::size_t first, const r8x8_mem& energies) {
  const r8x8 of_lines = energies;
  if (any_above(of_lines * (factors_at(first) * factors_.largest_along_y()), negligible_)) return false;
  discarded_ += of_lines;
  return true;
}

void coefficient_selection::offer(std::size_t first, std::span<const r8> batch) {
  const offered_lines lines{batch, factors_.along_y(), factors_at(first), negligible_};
  const auto scan_for_set = set_ == instruction_set::avx512 ? scan_avx512
                            : set_ == instruction_set::avx2 ? scan_avx2
                                                            : scan_sse2;
  const std::size_t found = scan_for_set(lines, discarded_, that_matter_.data());
  for (std::size_t n = 0; n < found; ++n) {
    const auto plane = static_cast<std::size_t>(that_matter_[n]);
    pick(plane, first, &batch[lines_of_batch * plane]);
  }
}

void coefficient_selection::pick(std::size_t plane, std::size_t first, const r8* coefficients) {
  candidates& to = planes_[plane];
  if (to.all.size() < to.count + lines_of_batch) to.all.resize(2 * to.count + lines_of_batch);
  candidate* next = &to.all[to.count];
  const r8 along_y = factors_.along_y()[plane];
  const std::size_t idx = plane * factors_.plane() + first + 1;
  r8x8 discarded{};
  for (std::size_t lane = 0; lane < lines_of_batch; ++lane) {
    const r8 value = coefficients[lane], energy = value * value;
    const r8 matters = energy * (in_plane_[first + lane] * along_y);
    const bool stays = matters > negligible_;
    *next = {value, matters, static_cast<i4>(idx + lane)};  // overwritten unless it stays
    next += stays;
    discarded[lane] = stays ? 0.0 : energy;
  }
  discarded_ += discarded;
  to.count = static_cast<std::size_t>(next - to.all.data());
}

compressed_row coefficient_selection::choose() {
  r8 discarded = 0.0;
  for (int lane = 0; lane < 8; ++lane) discarded += discarded_[lane];
  const std::size_t bin = last_bin_to_discard(discarded);
  discard_until(bin, discarded);
  return {idx_, values_};
}

/// The bin in which the budget runs out. The energy of those below it is added to `discarded`.
std::size_t coefficient_selection::last_bin_to_discard(r8& discarded) {
  bin_energy_.fill(0.0);
  for (const candidates& plane : planes_)
    for (const candidate& c : plane.found()) bin_energy_[bin_of(c.matters)] += c.value * c.value;
  std::size_t bin = 0;
  for (; bin < bins && discarded + bin_energy_[bin] <= budget_; ++bin) discarded += bin_energy_[bin];
  return bin;
}

/// Keeps what lies above the bin, and of those in it all but as many as the budget allows.
void coefficient_selection::discard_until(std::size_t bin, r8 discarded) {
  in_bin_.clear();
  for (const candidates& plane : planes_)
    for (const candidate& c : plane.found())
      if (bin_of(c.matters) == bin) in_bin_.push_back(c);
  const auto goes_first = [](const candidate& a, const candidate& b) {
    return a.matters != b.matters ? a.matters < b.matters : a.idx > b.idx;
  };
  std::ranges::sort(in_bin_, goes_first);
  auto stays = in_bin_.begin();
  for (; stays != in_bin_.end() && discarded + stays->value * stays->value <= budget_; ++stays)
    discarded += stays->value * stays->value;

  const bool all_go = stays == in_bin_.end();
  idx_.clear();
  values_.clear();
  for (const candidates& plane : planes_)
    for (const candidate& c : plane.found()) {
      const std::size_t own = bin_of(c.matters);
      if (own < bin || (own == bin && (all_go || goes_first(c, *stays)))) continue;
      idx_.push_back(c.idx);
      values_.push_back(c.value);
    }
}

}  // namespace velko
