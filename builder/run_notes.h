/// Run notes: from time to time a long run notes how far it is, and when it was killed another goes on from there.
///
/// What     OUTPUT.notes has, for the rows that are in the growing file by then, their place and checksum, what they lost,
///          and gdiag; it is replaced as a whole. restore() takes the last one up: rows behind it are dropped and made anew
/// When     after a row, `seconds` after the last note, and not before twenty times as long as that took to write
/// Checked  the note by its checksum, the rows by theirs: where one of them is not what was written, nothing is taken up
/// Errors   those of output_file and growing_file; the program stop where the note is of a run over other inputs or with
///          other options
/// Threads  begin() and note_piece() follow the turns of rows_in_order: begin() in the stage that writes a row, note_piece()
///          once the row is in that piece of gdiag
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "builder/diagonal.h"
#include "builder/growing_file.h"
#include "builder/provenance.h"

namespace velko {

class run_notes {
 public:
  run_notes(growing_file& rows, std::string name, r8 seconds)
      : rows_(rows), name_(std::move(name)), least_pause_(seconds) {}

  /// Rows that are there from a run before. Its origin and rows are known of `made`, which gets the rest.
  i4 restore(provenance& made, diagonal& gdiag);

  void begin(i4 row, const provenance& made);
  void note_piece(i4 row, i4 piece, diagonal& gdiag);

 private:
  using clock = std::chrono::steady_clock;
  struct note;

  void write_head(const provenance& made);
  void finish();

  growing_file& rows_;
  std::string name_;
  r8 least_pause_;
  std::shared_ptr<note> note_;  // that is being written
  std::atomic<i4> noted_row_ = 0;
  clock::time_point next_ =
      clock::now() + std::chrono::duration_cast<clock::duration>(std::chrono::duration<r8>(least_pause_));
};

}  // namespace velko
