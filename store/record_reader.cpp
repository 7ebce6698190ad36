#include "store/record_reader.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "store/input_file.h"

namespace velko {

namespace {

/// One system call that fills `target`, then `behind` with what follows; bytes read, 0 at the end, below 0 on failure.
i8 read_once(int file, std::span<std::byte> target, std::span<std::byte> behind) {
  // The system takes at most 2 GiB a call; a shorter request keeps the second part out of reach then.
  constexpr std::size_t most = std::size_t{1} << 30;
  const bool whole = target.size() <= most;
  const std::array<iovec, 2> parts{
      {{target.data(), std::min(target.size(), most)}, {behind.data(), behind.size()}}};
  for (;;) {
    const i8 got = readv(file, parts.data(), whole ? 2 : 1);
    if (got >= 0 || errno != EINTR) return got;
  }
}

i4 length_word(const std::byte* at) {
  i4 word = 0;
  std::memcpy(&word, at, sizeof word);
  return word;
}

}  // namespace

record_reader::~record_reader() {
  if (file_ >= 0) close(file_);
}

bool record_reader::open(std::string_view file_name, i8 begin) {
  file_ = open_input_file(file_name);
  at_first_ = state_of(file_);
  if (file_ < 0 || (begin != 0 && lseek(file_, begin, SEEK_SET) != begin)) return false;
  buffer_ = std::make_unique_for_overwrite<std::byte[]>(static_cast<std::size_t>(buffer_bytes));
  ok_ = true;
  return true;
}

void record_reader::read_in_place(mapped_file& file) {
  if (ok_ && position() >= 0 && file.map(file_)) start_in_place(file.bytes(), 0);
}

void record_reader::read_in_place(mapped_file& file, i8 end) {
  const i8 begin = position();
  if (ok_ && begin >= 0 && file.map(file_, begin, end)) start_in_place(file.bytes(), begin);
}

/// What is mapped begins so many bytes into the file.
void record_reader::start_in_place(std::span<std::byte> mapped, i8 begin) {
  const i8 here = std::min(position() - begin, std::ssize(mapped));
  lseek(file_, begin + std::ssize(mapped), SEEK_SET);
  ahead_ = mapped.subspan(static_cast<std::size_t>(here));
  ahead_is_mapped_ = true;
}

bool record_reader::hop() {
  hops_ = true;
  read_ahead_ = 3 * sizeof(i4);  // the word behind a record, the one in front of the next, and a count
  return ok_ = ok_ && position() >= 0;
}

i8 record_reader::position() const {
  return i8{lseek(file_, 0, SEEK_CUR)} - std::ssize(ahead_);
}

std::byte* record_reader::take_in_place(i8 count) {
  const bool in_one_piece = ok_ && ahead_is_mapped_ && count <= left_ && count <= std::ssize(ahead_);
  if (!in_one_piece || reinterpret_cast<std::uintptr_t>(ahead_.data()) % alignof(i4) != 0) return nullptr;
  left_ -= count;
  return take_ahead(count).data();
}

std::byte* record_reader::take_records_in_place(i8 count, i8 bytes) {
  constexpr i8 word_bytes = sizeof(i4);
  const i8 distance = bytes + 2 * word_bytes;
  if (!ok_ || !ahead_is_mapped_ || count < 1 || count > std::ssize(ahead_) / distance) return nullptr;
  if (reinterpret_cast<std::uintptr_t>(ahead_.data()) % alignof(i4) != 0 || distance % word_bytes != 0)
    return nullptr;
  for (i8 i = 0; i < count; ++i) {
    const std::byte* const record = ahead_.data() + i * distance;
    if (length_word(record) != bytes || length_word(record + word_bytes + bytes) != bytes) return nullptr;
  }
  return take_ahead(count * distance).data() + word_bytes;
}

void record_reader::read_without(mapped_file& file) {
  if (!ahead_is_mapped_) return;
  lseek(file_, position(), SEEK_SET);
  ahead_ = {};
  ahead_is_mapped_ = false;
  file = {};
}

bool record_reader::begin_record() {
  return begin_segment();
}

bool record_reader::end_record() {
  while (ok_ && more_segments_) skip(left_) && next_segment();
  return skip(left_) && end_segment();
}

bool record_reader::at_end() {
  std::byte next{};
  return ok_ && !fetch(&next, 1);
}

bool record_reader::begin_segment() {
  if (!fetch_word(segment_bytes_, more_segments_)) return false;
  left_ = segment_bytes_;
  return true;
}

bool record_reader::end_segment() {
  i8 length = 0;
  bool behind_another = false;
  if (!fetch_word(length, behind_another)) return false;
  return ok_ = length == segment_bytes_;
}

bool record_reader::read_bytes(std::byte* target, i8 count) {
  while (ok_ && count > left_) {
    if (!more_segments_) return ok_ = false;
    count -= left_;
    fetch(target, left_);
    if (target != nullptr) target += left_;
    next_segment();
  }
  left_ -= count;
  return fetch(target, count);
}

bool record_reader::skip(i8 count) {
  if (hops_) return read_bytes(nullptr, count);
  std::array<std::byte, 4096> dropped;
  while (ok_ && count > 0) {
    const i8 here = std::min(count, std::ssize(dropped));
    read_bytes(dropped.data(), here);
    count -= here;
  }
  return ok_;
}

bool record_reader::fetch_word(i8& length, bool& negative) {
  i4 word = 0;
  if (!fetch(reinterpret_cast<std::byte*>(&word), sizeof word)) return false;
  length = std::abs(i8{word});
  negative = word < 0;
  return true;
}

std::span<std::byte> record_reader::take_ahead(i8 count) {
  const auto taken = ahead_.first(static_cast<std::size_t>(count));
  ahead_ = ahead_.subspan(taken.size());
  return taken;
}

/// Passes over bytes of the file without a look at them. Whether it has so many is seen by the next read.
bool record_reader::pass_over(i8 count) {
  count -= std::ssize(take_ahead(std::min<i8>(count, std::ssize(ahead_))));
  return ok_ = ok_ && (count == 0 || lseek(file_, count, SEEK_CUR) >= 0);
}

/// The next bytes of the file, length words and payload alike. Without a target they are passed over.
bool record_reader::fetch(std::byte* target, i8 count) {
  if (target == nullptr) return pass_over(count);
  const std::span<const std::byte> whole(target, static_cast<std::size_t>(count));
  const auto ready = take_ahead(ok_ ? std::min<i8>(count, std::ssize(ahead_)) : 0);
  target = std::copy(ready.begin(), ready.end(), target);
  count -= std::ssize(ready);
  while (ok_ && count > 0) {
    const i8 got = read_once(file_, {target, static_cast<std::size_t>(count)},
                             {buffer_.get(), static_cast<std::size_t>(read_ahead_)});
    ok_ = got > 0;
    const i8 taken = std::clamp<i8>(got, 0, count);
    target += taken;
    count -= taken;
    ahead_ = {buffer_.get(), static_cast<std::size_t>(std::max<i8>(0, got - taken))};
    ahead_is_mapped_ = false;
  }
  if (ok_ && observer_) observer_(whole);
  return ok_;
}

}  // namespace velko
