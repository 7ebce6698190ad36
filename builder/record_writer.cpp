#include "builder/record_writer.h"

#include <algorithm>

namespace velko {

void record_writer::write(std::span<const bytes_view> pieces) {
  record_left_ = 0;
  for (const bytes_view piece : pieces) record_left_ += static_cast<i8>(piece.size());
  first_ = true;
  open_segment();
  for (const bytes_view piece : pieces) put(piece);
  close_segment();
}

void record_writer::copy(bytes_view bytes) {
  send_(bytes);
  position_ += static_cast<i8>(bytes.size());
  sum_.add(bytes);
}

std::uint64_t record_writer::end_stretch() {
  const std::uint64_t sum = sum_.value();
  sum_.restart();
  return sum;
}

void record_writer::put(bytes_view piece) {
  while (!piece.empty()) {
    if (segment_left_ == 0) {
      close_segment();
      first_ = false;
      open_segment();
    }
    const bytes_view part = piece.first(std::min(piece.size(), static_cast<std::size_t>(segment_left_)));
    copy(part);
    segment_left_ -= static_cast<i8>(part.size());
    piece = piece.subspan(part.size());
  }
}

void record_writer::open_segment() {
  segment_length_ = std::min(record_left_, limit_);
  segment_left_ = segment_length_;
  record_left_ -= segment_length_;
  const bool another_follows = record_left_ > 0;
  copy(bytes_of(static_cast<i4>(another_follows ? -segment_length_ : segment_length_)));
}

void record_writer::close_segment() {
  copy(bytes_of(static_cast<i4>(first_ ? segment_length_ : -segment_length_)));
}

}  // namespace velko
