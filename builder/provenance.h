/// Provenance: what a sensitivity file was made of, where each of its pieces stands, and what each was when written.
///
/// What     velkmtx leaves it behind the last record that readers look at. With it a file is verified to the last bit, is
///          told from that of another survey, is joined from parts, and gives each row without a search
/// Pieces   stretches of the file, one behind another: the head (all in front of the rows), each row, the diagonal, its
///          sums over blocks of rows (in a part; empty otherwise). A stretch is whole records, framing included
/// Rows     of the survey, from 1. A file that has not all of them is a part
/// Absent   in files of other programs, which are as good without
/// Use      read_provenance, then record_reader::open(name, begin_of_row(n)) and begin_record: that row's record
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"
#include "builder/bytes_view.h"
#include "builder/checksum.h"
#include "builder/record_writer.h"
#include "store/state.h"

namespace velko {

struct survey_rows {
  i4 first = 1, last = 0;

  i4 count() const { return last - first + 1; }
  friend bool operator==(const survey_rows&, const survey_rows&) = default;
};

/// What all parts of one file have in common.
struct file_origin {
  std::string settings;                                          // a line for each: "wavelet d4"
  i4 ndata = 0;                                                  // of the survey
  std::uint64_t survey = 0, mesh = 0, surface = 0, weights = 0;  // checksums

  bool operator==(const file_origin&) const = default;
};

struct provenance {
  file_origin origin;
  survey_rows rows;
  survey_state stations;                // of these rows
  std::vector<i8> begin{0};             // of each stretch; the last, of the provenance
  std::vector<std::uint64_t> checksum;  // of each stretch
  std::vector<r8> loss;                 // 1-norm of each row's difference to the row as computed, the weights
                                        // taken out: nT for a susceptibility of 1

  bool is_part() const { return rows.count() != origin.ndata; }
  /// The n-th row of this file, from 1.
  i8 begin_of_row(i4 n) const { return begin[static_cast<std::size_t>(n)]; }
  i8 begin_of_diagonal() const { return begin[begin.size() - 3]; }
  i8 begin_of_sums() const { return begin[begin.size() - 2]; }
  i8 end_of_stretches() const { return begin.back(); }

  /// What was written since the last one is a stretch.
  void end_stretch(record_writer& out) {
    checksum.push_back(out.end_stretch());
    begin.push_back(out.position());
  }
};

file_origin origin_of(std::string settings, const mesh_state& m, const survey_state& s, i4 wtz_kind,
                      std::span<const r8> wtz);

std::uint64_t checksum_of_survey(const survey_state& s);

/// The survey of these rows alone.
survey_state stations_of(const survey_state& s, const survey_rows& rows);

/// All stretches have been written.
void write_provenance(record_writer& out, const provenance& p);

struct provenance_reading {
  std::optional<provenance> found;
  bool damaged =
      false;  // the file ends as one with a provenance does, but this has not the bytes that were written
};
provenance_reading read_provenance(std::string_view file_name);

/// Compares the bytes of a file with the checksums of its stretches, as they come.
class stretch_verifier {
 public:
  explicit stretch_verifier(const provenance& p) : made_(p) { end_stretches(); }

  /// The next bytes of the file, from its first on.
  void add(bytes_view bytes);
  /// What the file has that was not added.
  void add_rest(std::string_view file_name);

  /// A line for each stretch that is not what was written.
  const std::vector<std::string>& damaged() const { return damaged_; }

 private:
  i8 left() const { return made_.begin[stretch_ + 1] - position_; }
  bool all_are_seen() const { return stretch_ == made_.checksum.size(); }
  void end_stretches();

  const provenance& made_;
  i8 position_ = 0;          // in the file
  std::size_t stretch_ = 0;  // the one at hand
  running_checksum sum_;     // of its bytes so far
  std::vector<std::string> damaged_;
};

/// A line for each stretch of the file that is not what was written.
std::vector<std::string> damaged_stretches(std::string_view file_name, const provenance& p);

/// A line for each thing in which a location file differs from the survey that the file was made for. Positions may
/// differ in their tenth digit, the field and directions by 0.01: a file of predicted data has no more.
std::vector<std::string> differences(const survey_state& locations, const provenance& p);

}  // namespace velko
