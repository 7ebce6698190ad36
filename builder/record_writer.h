/// Record writer: unformatted sequential records, as Fortran writes them.
///
/// What     a record is a 4-byte length, the payload, and the length again, little-endian. A payload above the limit
///          is split into segments, each framed in the same way: the leading length is negative when another segment
///          follows, the trailing one when another went before
/// Sums     bytes go through a checksum, framing included; end_stretch() cuts the file into stretches, each with its own
/// Limit    the longest segment; 2147483639 is that of gfortran, so that the frames of the longest segment fit in
///          2^31 bytes. A smaller one serves tests
/// Errors   those of the file
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>

#include "arrays/numbers.h"
#include "builder/bytes_view.h"
#include "builder/checksum.h"

namespace velko {

inline constexpr i4 longest_segment = 2147483639;

class record_writer {
 public:
  /// To a file with a member write(bytes), which outlives the object.
  template <class file>
  explicit record_writer(file& out, i4 limit = longest_segment)
      : send_([&out](bytes_view bytes) { out.write(bytes); }), limit_(limit) {}

  /// Writes one record whose payload is the pieces joined.
  void write(std::initializer_list<bytes_view> pieces) { write(std::span(pieces.begin(), pieces.size())); }
  void write(std::span<const bytes_view> pieces);

  /// Writes bytes that are framed already.
  void copy(bytes_view bytes);

  /// How many bytes the file has; so many were there already.
  i8 position() const { return position_; }
  void go_on_at(i8 position) { position_ = position; }

  /// Checksum of the bytes since the last call, or since the beginning of the file.
  std::uint64_t end_stretch();

 private:
  void put(bytes_view piece);
  void open_segment();
  void close_segment();

  std::function<void(bytes_view)> send_;
  i8 position_ = 0;
  running_checksum sum_;
  i8 limit_;
  i8 record_left_ = 0;     // payload of the record that is not yet in a closed or open segment
  i8 segment_length_ = 0;  // of the open segment
  i8 segment_left_ = 0;    // what it still takes
  bool first_ = true;      // it is the first of its record
};

}  // namespace velko
