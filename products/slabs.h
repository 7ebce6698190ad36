/// Slabs: how threads share out the rows that are added to a cube. Each thread owns a slab, a contiguous piece of the
/// cube, and adds to it what the rows hold for it, row after row.
///
/// Why      two rows may hit one element. Here each element is summed by one thread, in the order of the rows: the bits are
///          those of one thread, whatever the number of threads, and no thread needs a cube of its own
/// Order    where the idx of a row ascend, its entries for a slab stand together, and are looked up from where those of
///          the row before stood. The format does not promise it, so each loop that relies on it also asks: all entries that
///          were added lay in their slab, and no entry was left out. Both hold for every row whose entries for each slab
///          stand together, and for no other
/// Borders  from the distribution of entries: each slab gets about the same number of them
/// See      products/sparse_rows.cpp
#pragma once

#include <vector>

#include "arrays/numbers.h"
#include "products/row_kernels.h"
#include "store/state.h"

namespace velko {

/// Rows of Gs from first to last, counted from 1; none where last < first.
struct row_range {
  i8 first, last;
};

/// A whole row; the next one stands behind it in the file.
inline row_entries entries_of(const sparse_row& row) {
  const i8 nnz = row.idx.size();
  return {row.val.data(), row.idx.data(), nnz, row.val.data() + nnz, row.idx.data() + nnz};
}

/// Cuts a slab into so many, some of them of no elements, that hold about as many entries of the rows each. `models` cubes
/// lie interleaved.
std::vector<slab> cut_into_slabs(const slab& whole, i8 slabs, row_range rows, i8 models);

/// Finds the entries of one slab in one row after another, as if the idx of each ascended. A row is looked into while the one
/// before is at work, and its memory is asked for another row ahead.
class entries_in_slab {
 public:
  /// For rows up to `last` of Gs.
  entries_in_slab(const slab& part, i8 ncube, i8 last);

  row_entries of(i8 row);

 private:
  void look_into(i8 row);
  void ask_for(i8 row) const;

  // idx of the slab's first element, and that behind its last. 0 where the cube starts or ends there: all entries of a row
  // that stand before, or behind, belong to the slab.
  i8 first_, end_;
  i8 last_;
  i8 row_ = 0, from_ = 0, to_ = 0;  // the row that was looked into, and where the entries stand in it
};

}  // namespace velko
