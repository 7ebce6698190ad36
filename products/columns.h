/// Columns of blocks: models, or data, that stand one behind another.
#pragma once

#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Columns first to first + count - 1 of a block.
template <class number>
array2<number> columns_of(array2<number> block, i8 first, i8 count) {
  return array2<number>(block.data() + (first - 1) * block.extent(1), block.extent(1), count);
}

template <class number>
std::span<number> column_of(array2<number> block, i8 l) {
  return columns_of(block, l, 1).elements();
}

}  // namespace velko
