/// A dense G of r4, row behind row, in memory of its own or where the sensitivity file lies in memory.
///
/// What     element (c, i) is column c of row i, both counted from 1. The elements of a row stand side by side, and the
///          next row leading_dimension() elements on: in a file there are length words between them
/// Life     memory of its own lives as long as the matrix; that of a file belongs to whoever maps it
/// See      docs/rows_in_place.md
#pragma once

#include <cassert>
#include <utility>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

class dense_matrix {
 public:
  dense_matrix() = default;
  /// Of the same extents, without a gap between its rows.
  dense_matrix(owned_array2<r4>&& elements)
      : own_(std::move(elements)),
        first_(own_.data()),
        leading_(own_.extent(1)),
        shape_(own_.extent(1), own_.extent(2)) {}
  /// Of elements that somebody else holds.
  dense_matrix(r4* first, i8 columns, i8 rows, i8 leading_dimension)
      : first_(first), leading_(leading_dimension), shape_(columns, rows) {
    assert(leading_ >= shape_.extents[0]);
  }
  dense_matrix(dense_matrix&& other) noexcept { *this = std::move(other); }
  dense_matrix& operator=(dense_matrix&& other) noexcept {
    std::swap(own_, other.own_);
    std::swap(first_, other.first_);
    std::swap(leading_, other.leading_);
    std::swap(shape_, other.shape_);
    return *this;
  }
  ~dense_matrix() = default;

  r4& operator()(i8 column, i8 row) const {
    assert(1 <= column && column <= extent(1));
    return data_of(row)[column - 1];
  }
  array1<r4> row(i8 i) const { return array1<r4>(data_of(i), extent(1)); }

  i8 extent(int dimension) const { return shape_.extents[static_cast<std::size_t>(dimension - 1)]; }
  i8 size() const { return shape_.size(); }

  r4* first() const { return first_; }
  i8 leading_dimension() const { return leading_; }

 private:
  r4* data_of(i8 row) const {
    assert(1 <= row && row <= extent(2));
    return first_ + (row - 1) * leading_;
  }

  owned_array2<r4> own_;
  r4* first_ = nullptr;
  i8 leading_ = 0;
  array_shape<2> shape_;
};

}  // namespace velko
