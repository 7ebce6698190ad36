/// Vectors of several models as the row loops take them.
///
/// What     interleaved where G is compressed, one behind another where it is dense. They are cut into pieces, one behind another in
///          memory, each of which holds its elements of all vectors: so a piece is one message. A single vector stands as it is
/// Memory   for three vectors of a compressed G that of four
/// See      products/sparse_rows.h, products/full_rows.h: how many may lie interleaved
#pragma once

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "store/state.h"

namespace velko {

class packed_vectors {
 public:
  packed_vectors() = default;
  /// `begin`: elements of a vector in front of each piece, and all.
  packed_vectors(std::vector<i8> begin, i8 count)
      : begin_(std::move(begin)),
        width_(store.compressed && count == 3 ? 4 : count),
        elements_(width_ == count ? owned_array1<r8>(uninitialised, length() * width_)
                                  : owned_array1<r8>(length() * width_)) {}
  packed_vectors(i8 length, i8 count) : packed_vectors(std::vector<i8>{0, length}, count) {}

  i8 length() const { return begin_.back(); }
  /// How many the row loops see.
  i8 width() const { return width_; }
  std::span<r8> elements() { return elements_.elements(); }

  i8 pieces() const { return std::ssize(begin_) - 1; }
  i8 begin_of(i8 piece) const { return begin_[static_cast<std::size_t>(piece)]; }
  i8 length_of(i8 piece) const { return begin_of(piece + 1) - begin_of(piece); }
  std::span<r8> piece(i8 number) {
    return {elements_.data() + begin_of(number) * width_,
            static_cast<std::size_t>(length_of(number) * width_)};
  }

  /// Vector l, from 0.
  void put(std::span<const r8> from, i8 l) {
    for_each(l, [&](i8 i, r8& element) { element = from[static_cast<std::size_t>(i)]; });
  }
  void get(i8 l, std::span<r8> to) {
    for_each(l, [&](i8 i, const r8& element) { to[static_cast<std::size_t>(i)] = element; });
  }

 private:
  template <class body>
  void for_each(i8 l, body&& at) {
    for (i8 p = 0; p < pieces(); ++p) {
      const i8 n = length_of(p), step = store.compressed ? width_ : 1;
      r8* const first = piece(p).data() + (store.compressed ? l : l * n);
      for (i8 i = 0; i < n; ++i) at(begin_of(p) + i, first[i * step]);
    }
  }

  std::vector<i8> begin_;
  i8 width_ = 0;
  owned_array1<r8> elements_;
};

}  // namespace velko
