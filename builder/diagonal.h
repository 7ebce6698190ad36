/// The diagonal gdiag: squares of what the rows hold, summed so that parts of a survey give the bits of the whole.
///
/// What     rows are summed in blocks of 1024, those of the survey, each block from 0 and in the order of its rows; then
///          the blocks, in their order. So the sums over blocks are all that a part has to keep
/// Pieces   of the cells, so that several rows can be added at once, each to another piece
/// Digits   rows come as floats, squares and sums are doubles: a row waits for its memory, and a rounding error of one part in
///          30 million of each value is far below what compressed rows lose
/// Shapes   row(ncol), surface order; rows of the survey count from 1
/// Memory   the sum and one block; a part, which keeps its blocks, has all that it touches
#pragma once

#include <span>
#include <vector>

#include "arrays/array.h"
#include "builder/provenance.h"

namespace velko {

inline constexpr i4 rows_in_block = 1024;

inline bool begins_block(i4 row) {
  return (row - 1) % rows_in_block == 0;
}
/// Blocks that these rows touch; those of them whose first row is among these.
i4 blocks_of(const survey_rows& rows);
i4 blocks_begun_in(const survey_rows& rows);

class diagonal {
 public:
  diagonal(i8 ncol, const survey_rows& rows, bool keeps_blocks);

  /// Vectors of sums over blocks that an object for these rows holds, beside the sum of all.
  static i4 blocks_kept(const survey_rows& rows, bool keeps_blocks) {
    return keeps_blocks ? blocks_of(rows) : 1;
  }

  i4 pieces() const;
  /// Rows come in their order, each to all pieces.
  void add(i4 row, std::span<const r4> values, i4 piece);
  /// The sums over the first rows of the block that follows.
  void begin_block(std::span<const r8> sums);

  /// All that a piece has come to so far.
  std::vector<std::span<r8>> sums_of(i4 piece);
  void clear();

  /// The sum of all; nothing is added behind it.
  std::span<const r8> finish();
  /// Of an object that keeps its blocks: those that began with one of the rows.
  std::vector<std::span<const r8>> blocks_begun() const;

 private:
  static constexpr i8 cells_in_piece = i8{1} << 16;

  std::span<r8> piece_of(owned_array1<r8>& sums, i4 piece) const;
  void close_block(i4 piece);

  survey_rows rows_;
  bool keeps_blocks_;
  owned_array1<r8> sum_;
  std::vector<owned_array1<r8>> blocks_;  // all of them, or the one at hand
};

}  // namespace velko
