/// Unformatted sequential records, read from start to end.
///
/// What     a record is a 4-byte length word, so many bytes of payload, and the same word again. A payload too long
///          for one word stands in segments, each framed like a record: the leading word is negative when another
///          segment follows, the trailing word when one went before
/// Use      begin_record, then any number of reads in the order of the payload, then end_record, which skips what
///          was not taken
/// Errors   every routine gives false once something was not there: the file or the record ended, the system
///          refused, or a trailing word has not the length of its leading word. It stays false from then on
/// Memory   a read touches its target only as far as the file has bytes, so a count that promises more than the
///          file holds costs nothing
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "arrays/numbers.h"
#include "store/file_state.h"
#include "store/mapped_file.h"

namespace velko {

class record_reader {
 public:
  record_reader() = default;
  record_reader(const record_reader&) = delete;
  record_reader& operator=(const record_reader&) = delete;
  ~record_reader();

  /// Opens an existing file for reading; its name is used up to the last non-blank. False if that fails for any reason.
  /// The first record is the one that begins so many bytes into the file.
  bool open(std::string_view file_name, i8 begin = 0);

  /// Whether the file has the state that it was opened in. A pipe has none that could change.
  bool unchanged() const { return state_of(file_) == at_first_; }

  bool begin_record();
  bool end_record();

  /// The next element or elements of the record.
  template <class T>
  bool read(T& value) {
    return read_bytes(reinterpret_cast<std::byte*>(&value), sizeof(T));
  }
  template <class T>
  bool read_all(std::span<T> values) {
    return read_bytes(reinterpret_cast<std::byte*>(values.data()), static_cast<i8>(values.size_bytes()));
  }

  /// From here on the file is read where it lies in memory, as long as `file` lives: all of it, or so far as the piece from
  /// here to `end` goes, and no other is mapped. Where it can't be mapped, nothing changes.
  void read_in_place(mapped_file& file);
  void read_in_place(mapped_file& file, i8 end);

  /// From here on no more is read than is asked for, and what is skipped is not read at all: for who looks for where records
  /// begin. False, as all that follows, where the file is a pipe.
  bool hop();

  /// Shows all bytes of the file that are read from here on, length words and what is skipped among them, in their order. For
  /// who neither maps nor hops.
  void show_to(std::function<void(std::span<const std::byte>)> observer) { observer_ = std::move(observer); }

  /// How many bytes of the file stand in front of what is read next.
  i8 position() const;

  /// The next bytes of the record where they lie in the mapped file, aligned for 4-byte elements. Null, and nothing
  /// is taken, where they can't be had so: the file is not mapped, a segment ends before, they are not aligned.
  std::byte* take_in_place(i8 count);

  /// The next `count` records, each in one piece with a payload of exactly so many bytes: that of the first one where it lies in
  /// the mapped file, aligned for 4-byte elements; those of the others stand at equal distances of bytes + 8 behind it.
  /// Null, and nothing is taken, where they can't be had so. To be asked between records.
  std::byte* take_records_in_place(i8 count, i8 bytes);

  /// Gives the mapped file back: from here on the file is read.
  void read_without(mapped_file& file);

  /// Whether no byte is left in the file; to be asked between records, and last.
  bool at_end();

  /// Passes over bytes of the record.
  bool skip(i8 count);

  /// False if the record certainly ends before so many more bytes; the words of later segments are not known yet.
  bool may_hold(i8 count) const { return more_segments_ || count <= left_; }

 private:
  bool begin_segment();
  bool end_segment();
  bool next_segment() { return end_segment() && begin_segment(); }
  bool read_bytes(std::byte* target, i8 count);
  bool pass_over(i8 count);
  void start_in_place(std::span<std::byte> mapped, i8 begin);
  bool fetch(std::byte* target, i8 count);
  std::span<std::byte> take_ahead(i8 count);
  bool fetch_word(i8& length, bool& negative);

  int file_ = -1;
  file_state at_first_;
  bool ok_ = false;
  i8 segment_bytes_ = 0;  // payload of the segment at hand
  i8 left_ = 0;           // of it, not yet taken
  bool more_segments_ = false;

  // Short reads are served from here; long ones go straight to their target, and what the same system call brings
  // of the bytes behind them lands here.
  static constexpr i8 buffer_bytes = i8{64} << 10;
  i8 read_ahead_ = buffer_bytes;
  bool hops_ = false;
  std::unique_ptr<std::byte[]> buffer_;
  std::function<void(std::span<const std::byte>)> observer_;

  // The bytes of the file behind those that were taken, as far as they are at hand. From read_in_place on they are all the
  // rest of the file, in the mapped file; before, and where the file has grown beyond its map, what the last system call
  // brought, in the buffer. The system's own position in the file is behind them.
  std::span<std::byte> ahead_;
  bool ahead_is_mapped_ = false;
};

}  // namespace velko
