#include "builder/run_notes.h"

#include <fmt/format.h>

#include <filesystem>

#include "builder/file_bytes.h"
#include "builder/record_writer.h"
#include "files/output_file.h"
#include "reports/program_stop.h"
#include "store/record_reader.h"

namespace velko {

/// A file and when it was begun.
struct run_notes::note {
  explicit note(const std::string& name) : file(name), out(file) {}

  output_file file;
  record_writer out;
  clock::time_point start = clock::now();
};

namespace {

constexpr i4 layout_version = 1;
constexpr i8 closing_bytes = 16;  // a checksum, framed

/// Whether the file ends with the checksum of all in front of it.
bool is_whole(const std::string& name) {
  const file_bytes file(name);
  const i8 end = file.size() - closing_bytes;
  std::uint64_t sum = 0;
  return file.read_all(end + 4, std::span(&sum, 1)) && file.checksum(0, end) == sum;
}

/// Whether the rows are what the note tells of them.
bool are_as_noted(const std::string& name, const provenance& noted) {
  return damaged_stretches(name, noted).empty();
}

template <class T>
bool read_vector(record_reader& in, std::vector<T>& values, i8 count) {
  if (count < 0 || !in.may_hold(count * i8{sizeof(T)})) return false;
  values.resize(static_cast<std::size_t>(count));
  return in.read_all(std::span(values));
}

/// What a note has in front of gdiag; the number of its rows is that of the losses.
bool read_head(record_reader& in, provenance& noted) {
  i4 version = 0, length = 0, done = 0;
  file_origin& o = noted.origin;
  if (!in.begin_record() || !in.read(version) || version != layout_version || !in.read(noted.rows.first) ||
      !in.read(noted.rows.last) || !in.read(o.ndata) || !in.read(done) || !in.read(length) || length < 0 ||
      !in.may_hold(length))
    return false;
  o.settings.resize(static_cast<std::size_t>(length));
  return in.read_all(std::span(o.settings)) && in.read(o.survey) && in.read(o.mesh) && in.read(o.surface) &&
         in.read(o.weights) && read_vector(in, noted.begin, i8{done} + 2) &&
         read_vector(in, noted.checksum, i8{done} + 1) && read_vector(in, noted.loss, done) &&
         in.end_record();
}

bool read_diagonal(record_reader& in, diagonal& gdiag) {
  bool good = true;
  for (i4 piece = 0; piece < gdiag.pieces(); ++piece) {
    good = good && in.begin_record();
    for (const std::span<r8> sums : gdiag.sums_of(piece)) good = good && in.read_all(sums);
    good = good && in.end_record();
  }
  return good;
}

}  // namespace

i4 run_notes::restore(provenance& made, diagonal& gdiag) {
  provenance noted;
  record_reader in;
  rows_.flush();
  const bool readable = is_whole(name_) && in.open(name_) && read_head(in, noted);
  if (readable && !(noted.origin == made.origin && noted.rows == made.rows))
    stop_program(
        fmt::format("velkmtx: {} is of a run over other inputs or with other options; go on with those, or "
                    "remove it",
                    name_));
  if (!readable || !are_as_noted(rows_.name(), noted) || !read_diagonal(in, gdiag)) {
    gdiag.clear();
    rows_.go_on_at(0);
    return 0;
  }
  made.begin = std::move(noted.begin);
  made.checksum = std::move(noted.checksum);
  made.loss = std::move(noted.loss);
  rows_.go_on_at(made.begin.back());
  return static_cast<i4>(made.loss.size());
}

void run_notes::begin(i4 row, const provenance& made) {
  if (noted_row_ != 0 || clock::now() < next_) return;
  rows_.flush();
  note_ = std::make_shared<note>(name_);
  write_head(made);
  noted_row_ = row;
}

void run_notes::write_head(const provenance& made) {
  const file_origin& o = made.origin;
  const i4 done = static_cast<i4>(made.loss.size()), length = static_cast<i4>(o.settings.size());
  note_->out.write({bytes_of(layout_version), bytes_of(made.rows.first), bytes_of(made.rows.last),
                    bytes_of(o.ndata), bytes_of(done), bytes_of(length), bytes_of(std::span(o.settings)),
                    bytes_of(o.survey), bytes_of(o.mesh), bytes_of(o.surface), bytes_of(o.weights),
                    bytes_of(std::span(made.begin)), bytes_of(std::span(made.checksum)),
                    bytes_of(std::span(made.loss))});
}

void run_notes::note_piece(i4 row, i4 piece, diagonal& gdiag) {
  if (row != noted_row_) return;
  const std::vector<std::span<r8>> sums = gdiag.sums_of(piece);
  std::vector<bytes_view> pieces;
  for (const std::span<r8> s : sums) pieces.push_back(bytes_of(s));
  note_->out.write(pieces);
  if (piece + 1 == gdiag.pieces()) finish();
}

void run_notes::finish() {
  constexpr r8 share = 20;  // of the time that goes to rows, to that which goes to notes
  const std::uint64_t sum = note_->out.end_stretch();
  note_->out.write({bytes_of(sum)});
  note_->file.keep();
  const clock::time_point now = clock::now();
  const std::chrono::duration<r8> pause = std::max(std::chrono::duration<r8>(least_pause_),
                                                   share * std::chrono::duration<r8>(now - note_->start));
  next_ = least_pause_ > 0.0 ? now + std::chrono::duration_cast<clock::duration>(pause) : now;
  note_.reset();
  noted_row_ = 0;
}

}  // namespace velko
