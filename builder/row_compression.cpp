// Letters: i along y, j along x, k down a column.
#include "builder/row_compression.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "arrays/instruction_set.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

r8 energy_at(std::span<const r8> coefficients, i4 idx) {
  const r8 c = coefficients[static_cast<std::size_t>(idx) - 1];
  return c * c;
}

/// Positive numbers and their bit patterns have the same order.
std::size_t bin_of(r8 energy) {
  constexpr int bits_behind_exponent = 2;
  return std::bit_cast<std::uint64_t>(energy) >> (52 - bits_behind_exponent);
}

/// Calls piece(part of the row, part of the cube) for every column of the mesh, its cells below the surface.
template <class number, class action>
void for_columns(const mesh_state& m, const cube_size& cube, std::span<number> row, std::span<r8> elements,
                 const action& piece) {
  std::size_t done = 0;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) {
      const i4 itop = m.itop(i, j);
      const auto cells = static_cast<std::size_t>(m.nz - itop);
      const i8 place = itop + i8{cube.z} * (j - 1) + i8{cube.z} * cube.x * (i - 1);
      piece(row.subspan(done, cells), elements.subspan(static_cast<std::size_t>(place), cells));
      done += cells;
    }
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

std::span<const i4> coefficient_selection::choose(std::span<const r8> coefficients, r8 tolerance) {
  const r8 budget = tolerance * tolerance * energy_of(coefficients);
  // Most coefficients are so small that even all together, were they all like this, they would not use the budget
  // up. One pass without comparing them to each other settles them.
  const r8 negligible = budget / static_cast<r8>(std::max<std::size_t>(coefficients.size(), 1));
  r8 discarded = pass_over_negligible(coefficients, negligible);
  const std::size_t bin = last_bin_to_discard(coefficients, budget, discarded);
  discard_from_bin(coefficients, bin, budget, discarded);
  return kept_;
}

/// Leaves the others in kept_, and gives the energy of the negligible ones.
r8 coefficient_selection::pass_over_negligible(std::span<const r8> coefficients, r8 negligible) {
  r8 discarded = 0.0;
  kept_.resize(coefficients.size() + 1);
  std::size_t left = 0;
  for (std::size_t p = 0; p < coefficients.size(); ++p) {
    const r8 energy = coefficients[p] * coefficients[p];
    const bool stays = energy > negligible;
    kept_[left] = static_cast<i4>(p) + 1;  // overwritten by the next unless it stays: no branch to mispredict
    left += stays;
    discarded += stays ? 0.0 : energy;
  }
  kept_.resize(left);
  return discarded;
}

/// The bin in which the budget runs out. The energy of those below it is added to `discarded`.
std::size_t coefficient_selection::last_bin_to_discard(std::span<const r8> coefficients, r8 budget,
                                                       r8& discarded) {
  bin_energy_.fill(0.0);
  for (const i4 idx : kept_) {
    const r8 energy = energy_at(coefficients, idx);
    bin_energy_[bin_of(energy)] += energy;
  }
  std::size_t bin = 0;
  for (; bin < bins && discarded + bin_energy_[bin] <= budget; ++bin) discarded += bin_energy_[bin];
  return bin;
}

/// Takes out of kept_ what lies below the bin, and as many in the bin as the budget allows.
void coefficient_selection::discard_from_bin(std::span<const r8> coefficients, std::size_t bin, r8 budget,
                                             r8 discarded) {
  in_bin_.clear();
  for (const i4 idx : kept_)
    if (bin_of(energy_at(coefficients, idx)) == bin) in_bin_.push_back(idx);
  const auto goes_first = [&](i4 a, i4 b) {
    const r8 energy_a = energy_at(coefficients, a), energy_b = energy_at(coefficients, b);
    return energy_a != energy_b ? energy_a < energy_b : a > b;
  };
  std::sort(in_bin_.begin(), in_bin_.end(), goes_first);
  auto stays = in_bin_.begin();
  for (; stays != in_bin_.end() && discarded + energy_at(coefficients, *stays) <= budget; ++stays)
    discarded += energy_at(coefficients, *stays);

  const bool all_go = stays == in_bin_.end();
  std::erase_if(kept_, [&](i4 idx) {
    const std::size_t its_bin = bin_of(energy_at(coefficients, idx));
    return its_bin < bin || (its_bin == bin && (all_go || goes_first(idx, *stays)));
  });
}

row_compressor::row_compressor(const mesh_state& shared_mesh, const cube_size& cube, r8 tolerance)
    : mesh_(shared_mesh), cube_size_(cube), tolerance_(tolerance), cube_(i8{cube.z} * cube.x * cube.y) {}

compressed_row row_compressor::compress(std::span<const r8> row) {
  std::fill(cube_.begin(), cube_.end(), 0.0);
  for_columns(mesh_, cube_size_, row, cube_.elements(),
              [](std::span<const r8> below, std::span<r8> elements) {
                std::copy(below.begin(), below.end(), elements.begin());
              });
  transform(1);
  return {selection_.choose(cube_.elements(), tolerance_), cube_.elements()};
}

r8 row_compressor::restore(std::span<const i4> idx, std::span<r8> row) {
  // Between two kept coefficients all are set to 0.
  r8* next = cube_.begin();
  for (const i4 position : idx) {
    r8* const kept = cube_.begin() + position - 1;
    std::fill(next, kept, 0.0);
    *kept = static_cast<r4>(*kept);
    next = kept + 1;
  }
  std::fill(next, cube_.end(), 0.0);
  transform(-1);
  const auto with_elements = [&](const auto& operation) {
    for_columns(mesh_, cube_size_, row, cube_.elements(),
                [&](std::span<r8> below, std::span<const r8> elements) {
                  std::transform(below.begin(), below.end(), elements.begin(), below.begin(), operation);
                });
  };
  with_elements([](r8 computed, r8 restored) { return computed - restored; });
  const r8 lost = energy_of(row);
  with_elements([](r8, r8 restored) { return restored; });
  return lost;
}

void row_compressor::transform(i4 isign) {
  WTN(cube_.elements(), {cube_size_.z, cube_size_.x, cube_size_.y}, isign);
}

}  // namespace velko
