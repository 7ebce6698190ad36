/// A sensitivity matrix whose rows are spread over ranks, and the products with it.
///
/// What     every rank holds a block of whole rows of G, about as many bytes of the file on each, in the order of the ranks; mesh, surface,
///          weights, filter and diagonal are whole on each. More ranks than rows leave some without
/// Where    in the shared state of the library (store/state.h), or in that of a problem whose scope is open on each rank
///          (store/problem.h): ndata_mtx is that of the file; Gs, or Gfull, hold the rows of this rank alone, so products/products.h refuses them
/// File     rank 0 finds where the rows begin, going from length word to length word; every rank reads all in front of the rows and
///          behind them, and maps its own rows. A pipe is refused. Ranks that see different files of the name stop with "the ranks see different files: NAME"
/// Errors   those of getpar and of the products, the same on all ranks (mpi/ranks.h)
/// Collective  all members; vectors are whole on every rank, and have the same elements on each
/// Bits     of forward, adjoint and normal: those of GPROD, GTPROD and GTGPROD in one process, for every number of ranks and
///          threads. Rows of the forward product are independent. The adjoint sums every element in the order of the rows: the cube goes
///          from rank to rank in slabs, each rank adding its rows, while the one before works on the next slab. The _by_reduction products sum
///          on each rank alone, and then over ranks in the order that MPI takes: faster, and their last bits depend on the number of ranks
/// Memory   on each rank its rows, a cube for forward and adjoint, two for normal, beside the vectors
/// See      docs/scaling.md
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "mpi/ranks.h"
#include "products/sparse_rows.h"

namespace velko {

class packed_vectors;

/// Where each of `parts` blocks of whole items begins, even in what lies in front of them: item i from begin[i] to begin[i + 1] - 1.
/// (parts + 1), from 0.
std::vector<i8> even_blocks(std::span<const i8> begin, int parts);

class spread_matrix {
 public:
  /// Loads the file.
  spread_matrix(const ranks& all, std::string_view sensitivity_file);

  /// Rows of this rank, counted from 1; none where last < first.
  row_range rows() const { return {begin_of(all_.rank()) + 1, begin_of(all_.rank() + 1)}; }

  /// d = G m; m as GPROD takes it, d of ndata elements.
  void forward(std::span<const r8> m, std::span<r8> d) const;
  /// m = G' d; m as GTPROD takes it.
  void adjoint(std::span<r8> m, std::span<const r8> d);
  /// y = G' G x; x and y as GTGPROD takes them.
  void normal(std::span<const r8> x, std::span<r8> y);

  /// The same for a block of models, one behind another: m(:, l), d(:, l) are those of model l. The rows are read once for several
  /// of them, four in the adjoint and the normal product, whose memory is then that of four.
  void forward_block(array2<const r8> m, array2<r8> d) const;
  void adjoint_block(array2<r8> m, array2<const r8> d);
  void normal_block(array2<const r8> x, array2<r8> y);

  /// m is written whole: elements that belong to no active cell become 0.
  void adjoint_by_reduction(std::span<r8> m, std::span<const r8> d) const;
  void normal_by_reduction(std::span<const r8> x, std::span<r8> y) const;

 private:
  i8 begin_of(int rank) const { return first_row_[static_cast<std::size_t>(rank)]; }
  i8 rows_here() const { return rows().last - rows().first + 1; }
  std::span<const r8> here(std::span<const r8> d) const;
  void check_one_file(std::uint64_t what_this_rank_saw) const;
  void prepare_sums();
  void sum_rows(packed_vectors& data, packed_vectors& sum) const;
  void add_rows_here(packed_vectors& data, packed_vectors& sum, i8 slab) const;
  static void check_data(i8 data);
  static void check_blocks(i8 models, i8 others);

  const ranks& all_;
  std::vector<i8> first_row_;  // (ranks + 1) rows in front of those of each rank
  row_order order_ = row_order::any;
  std::vector<i8>
      slab_begin_;  // elements of a sum over rows in front of each slab, and all; empty before the first sum
};

}  // namespace velko
