/// Record writer: unformatted sequential records, as Fortran writes them.
///
/// What     a record is a 4-byte length, the payload, and the length again, little-endian. A payload above the limit
///          is split into segments, each framed in the same way: the leading length is negative when another segment
///          follows, the trailing one when another went before
/// Limit    the longest segment; 2147483639 is that of gfortran, so that the frames of the longest segment fit in
///          2^31 bytes. A smaller one serves tests
/// Errors   those of output_file
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <initializer_list>
#include <span>
#include <type_traits>

#include "arrays/numbers.h"
#include "files/output_file.h"

namespace velko {

using bytes_view = std::span<const std::byte>;

inline constexpr i4 longest_segment = 2147483639;

/// Writes one record whose payload is the pieces joined.
class record_writer {
 public:
  explicit record_writer(output_file& out, i4 limit = longest_segment) : out_(out), limit_(limit) {}

  void write(std::initializer_list<bytes_view> pieces);

 private:
  void put(bytes_view piece);
  void open_segment();
  void close_segment();

  output_file& out_;
  i8 limit_;
  i8 record_left_ = 0;     // payload of the record that is not yet in a closed or open segment
  i8 segment_length_ = 0;  // of the open segment
  i8 segment_left_ = 0;    // what it still takes
  bool first_ = true;      // it is the first of its record
};

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
