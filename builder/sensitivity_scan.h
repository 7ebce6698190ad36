/// Sensitivity scan: what a sensitivity file holds, and whether its contents fit together.
///
/// What     reads the file once, record by record, and keeps all but the rows of G, of which it keeps their counts and
///          their extremes. Every statement of the format that the file breaks becomes a fault, one line each; faults
///          of one kind in many rows are one line, which names the first and counts the others. On the way the bytes are
///          compared with the checksums of the provenance, where there is one
/// Ends     where a record can't be read, nothing behind it can: `complete` is false then, and the last fault says why
/// Memory   the longest row and the vectors of the file, each bounded by the size of the file
/// Errors   the file-not-found report with the label "sensitivity"
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"
#include "builder/cube_size.h"
#include "builder/provenance.h"

namespace velko {

/// Least and most of the values that it was shown; turned around while it was shown none.
template <class T>
struct extremes {
  T least = std::numeric_limits<T>::max(), most = std::numeric_limits<T>::lowest();

  void note(T value) {
    if (value < least) least = value;
    if (value > most) most = value;
  }
};

struct sensitivity_contents {
  i8 bytes = 0;  // of the file
  i4 ndata_mtx = 0, ncol = 0, ny = 0, nx = 0, nz = 0;
  std::vector<r8> ynode, xnode, znode;
  r8 ztop = 0;
  extremes<i4> itop;
  i8 cells_below = 0, cells_above = 0;  // the surface, by itop
  i4 nfilter = 0;
  std::vector<r8> wfilter;
  cube_size cube{};
  i4 wtz_kind = 0;
  extremes<r8> wtz, gdiag;
  std::vector<i4> nnz;  // entries of each row
  extremes<r4> values;  // of the entries of G, as the file has them

  std::optional<provenance> made;  // where velkmtx left its account of it

  bool complete = false;
  std::vector<std::string> faults;
  std::vector<std::string> damaged;  // stretches that are not what was written, a line each

  bool compressed() const { return nfilter >= 1; }
};

sensitivity_contents scan_sensitivity_file(std::string_view file_name);

/// A line for each thing in which a survey differs from the one that the file was made for. Without a provenance the file
/// tells no more of it than the number of its data.
std::vector<std::string> differences_to(const survey_state& locations, const sensitivity_contents& contents);

/// "Haar", "Daubechies", "symlet", the last two also with ", reversed"; empty for a filter that velkmtx does not know.
std::string name_of_filter(const std::vector<r8>& wfilter);

}  // namespace velko
