/// Values and arrays as the bytes that a file has of them.
#pragma once

#include <cstddef>
#include <span>
#include <type_traits>

#include "arrays/numbers.h"

namespace velko {

using bytes_view = std::span<const std::byte>;

/// The bytes of one value, or of the elements of an array.
template <class T>
bytes_view bytes_of(const T& value) requires std::is_arithmetic_v<T> {
  return std::as_bytes(std::span(&value, 1));
}
template <class T>
bytes_view bytes_of(std::span<T> elements) {
  return std::as_bytes(elements);
}

}  // namespace velko
