#include "builder/diagonal.h"

#include <algorithm>

namespace velko {

namespace {

i4 block_of(i4 row) {
  return (row - 1) / rows_in_block;
}

void add_to(std::span<r8> sums, std::span<const r8> values) {
  for (std::size_t c = 0; c < sums.size(); ++c) sums[c] += values[c];
}

}  // namespace

i4 blocks_of(const survey_rows& rows) {
  return rows.count() < 1 ? 0 : block_of(rows.last) - block_of(rows.first) + 1;
}

i4 blocks_begun_in(const survey_rows& rows) {
  const i4 all = blocks_of(rows);
  return all > 0 && !begins_block(rows.first) ? all - 1 : all;
}

diagonal::diagonal(i8 ncol, const survey_rows& rows, bool keeps_blocks)
    : rows_(rows), keeps_blocks_(keeps_blocks), sum_(ncol) {
  for (i4 n = 0; n < blocks_kept(rows, keeps_blocks); ++n) blocks_.emplace_back(ncol);
}

i4 diagonal::pieces() const {
  return static_cast<i4>((sum_.size() + cells_in_piece - 1) / cells_in_piece);
}

std::span<r8> diagonal::piece_of(owned_array1<r8>& sums, i4 piece) const {
  const i8 begin = piece * cells_in_piece, end = std::min(begin + cells_in_piece, sums.size());
  return {sums.data() + begin, static_cast<std::size_t>(end - begin)};
}

void diagonal::close_block(i4 piece) {
  const std::span<r8> block = piece_of(blocks_.front(), piece);
  add_to(piece_of(sum_, piece), block);
  std::fill(block.begin(), block.end(), 0.0);
}

void diagonal::add(i4 row, std::span<const r4> values, i4 piece) {
  if (!keeps_blocks_ && begins_block(row)) close_block(piece);
  const i4 block = keeps_blocks_ ? block_of(row) - block_of(rows_.first) : 0;
  const std::span<r8> sums = piece_of(blocks_[static_cast<std::size_t>(block)], piece);
  const r4* g = values.data() + piece * cells_in_piece;
  r8* sum = sums.data();
  for (std::size_t c = 0; c < sums.size(); ++c) sum[c] += r8{g[c]} * g[c];
}

void diagonal::begin_block(std::span<const r8> sums) {
  add_to(sum_.elements(), blocks_.front().elements());
  std::copy(sums.begin(), sums.end(), blocks_.front().begin());
}

std::vector<std::span<r8>> diagonal::sums_of(i4 piece) {
  std::vector<std::span<r8>> all{piece_of(sum_, piece)};
  for (owned_array1<r8>& block : blocks_) all.push_back(piece_of(block, piece));
  return all;
}

void diagonal::clear() {
  for (i4 piece = 0; piece < pieces(); ++piece)
    for (const std::span<r8> sums : sums_of(piece)) std::ranges::fill(sums, 0.0);
}

std::span<const r8> diagonal::finish() {
  for (owned_array1<r8>& block : blocks_) add_to(sum_.elements(), block.elements());
  return sum_.elements();
}

std::vector<std::span<const r8>> diagonal::blocks_begun() const {
  std::vector<std::span<const r8>> begun;
  const auto first = static_cast<std::size_t>(blocks_of(rows_) - blocks_begun_in(rows_));
  for (std::size_t n = first; n < blocks_.size(); ++n) begun.push_back(blocks_[n].elements());
  return begun;
}

}  // namespace velko
