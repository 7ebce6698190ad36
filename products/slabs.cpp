#include "products/slabs.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace velko {
namespace {

// So many rows are looked at, and so many entries of each, to see how the entries lie in the cube.
constexpr i8 sample_rows = 64, sample_entries = 64;

// Slabs start at whole cache lines, so that no two threads write to one.
constexpr i8 line = 8;

/// Positions of some entries inside the slab, ascending.
std::vector<i4> sample(const slab& whole, row_range rows) {
  std::vector<i4> found;
  const i8 count = rows.last - rows.first + 1, taken = std::min(count, sample_rows);
  for (i8 r = 0; r < taken; ++r) {
    const row_entries row = entries_of(store.Gs(rows.first + count * r / taken));
    const i8 entries = std::min(row.nnz, sample_entries);
    for (i8 e = 0; e < entries; ++e) found.push_back(row.idx[row.nnz * e / entries]);
  }
  std::erase_if(found, [&](i4 idx) { return idx < whole.first || idx >= whole.first + whole.size; });
  std::sort(found.begin(), found.end());
  return found;
}

/// How many of the entries of a row stand before the first with an idx of `border` or more, where they ascend; the search
/// starts at a guess and doubles its steps. Where they don't, some number from 0 to nnz.
i8 count_below(i8 border, const row_entries& row, i8 guess) {
  i8 below = -1, above = row.nnz, at = std::min(guess, row.nnz - 1);
  for (i8 step = 4; above - below > 1; step *= 2) {
    (row.idx[at] < border ? below : above) = at;
    at = above == row.nnz ? std::min(at + step, row.nnz - 1)
         : below == -1    ? std::max(at - step, i8{0})
                          : std::midpoint(below, above);
  }
  return above;
}

// How far from where a border stood in the row before it is expected, in entries.
constexpr i8 expected_within = 128;

/// By a number: what is asked for may lie outside of the row.
void ask_around(const i4* idx, i8 at) {
  constexpr i8 of_a_line = 64 / sizeof(i4);
  for (i8 k = at - expected_within; k <= at + expected_within; k += of_a_line) {
    const std::uintptr_t there =
        reinterpret_cast<std::uintptr_t>(idx) + static_cast<std::uintptr_t>(k) * sizeof(i4);
    __builtin_prefetch(reinterpret_cast<const void*>(there));  // NOLINT(performance-no-int-to-ptr)
  }
}

}  // namespace

std::vector<slab> cut_into_slabs(const slab& whole, i8 slabs, row_range rows, i8 models) {
  const std::vector<i4> entries = slabs > 1 ? sample(whole, rows) : std::vector<i4>{};
  std::vector<slab> parts;
  i8 at = 0;
  for (i8 part = 1; part <= slabs; ++part) {
    i8 end = whole.size;
    if (part < slabs) {
      const i8 fair =
          entries.empty()
              ? whole.size * part / slabs
              : entries[entries.size() * static_cast<std::size_t>(part) / static_cast<std::size_t>(slabs)] -
                    whole.first;
      end = std::max(at, fair / line * line);
    }
    parts.push_back({whole.elements + at * models, whole.first + at, end - at});
    at = end;
  }
  return parts;
}

entries_in_slab::entries_in_slab(const slab& part, i8 ncube, i8 last)
    : first_(part.first > 1 ? part.first : 0),
      end_(part.first + part.size <= ncube ? part.first + part.size : 0),
      last_(last) {}

void entries_in_slab::look_into(i8 row) {
  const row_entries all = entries_of(store.Gs(row));
  if (first_ > 0) from_ = count_below(first_, all, from_);
  to_ = end_ > 0 ? count_below(end_, all, to_) : all.nnz;
  row_ = row;
}

void entries_in_slab::ask_for(i8 row) const {
  if (first_ > 0) ask_around(store.Gs(row).idx.data(), from_);
  if (end_ > 0) ask_around(store.Gs(row).idx.data(), to_);
}

row_entries entries_in_slab::of(i8 row) {
  if (row_ != row) look_into(row);
  const row_entries all = entries_of(store.Gs(row));
  row_entries mine{all.val + from_, all.idx + from_, std::max(to_ - from_, i8{0})};
  const i8 next = std::min(row + 1, last_);
  ask_for(std::min(row + 2, last_));
  look_into(next);
  mine.next_val = store.Gs(next).val.data() + from_;
  mine.next_idx = store.Gs(next).idx.data() + from_;
  return mine;
}

}  // namespace velko
