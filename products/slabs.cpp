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

/// By a number: what is asked for may lie behind the row.
void ask_for_line(const void* start, i8 bytes) {
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(start) + static_cast<std::uintptr_t>(bytes);
  __builtin_prefetch(reinterpret_cast<const void*>(at));  // NOLINT(performance-no-int-to-ptr)
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

entries_in_slab::entries_in_slab(const slab& part, i8 ncube)
    : first_(part.first > 1 ? part.first : 0),
      end_(part.first + part.size <= ncube ? part.first + part.size : 0) {}

row_entries entries_in_slab::of(const sparse_row& row) {
  const row_entries all = entries_of(row);
  if (first_ > 0) from_ = count_below(first_, all, from_);
  to_ = end_ > 0 ? count_below(end_, all, to_) : all.nnz;
  return {all.val + from_, all.idx + from_, std::max(to_ - from_, i8{0})};
}

void entries_in_slab::ask_for(const sparse_row& row) const {
  constexpr i8 line_bytes = 64;
  for (i8 ahead = -1; ahead <= 2; ++ahead)
    ask_for_line(row.idx.data(), from_ * i8{sizeof(i4)} + ahead * line_bytes);
  for (i8 ahead = 0; ahead <= 2; ++ahead)
    ask_for_line(row.val.data(), from_ * i8{sizeof(r4)} + ahead * line_bytes);
  if (end_ > 0) ask_for_line(row.idx.data(), to_ * i8{sizeof(i4)});
}

}  // namespace velko
