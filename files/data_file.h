/// The data or location file: field directions, number of data, and one line per datum.
///
/// What     read_data_file fills `survey`; with read_values false it takes the positions (and, for idir 0,
///          the directions) and ignores the columns behind them. read_data_file_short is the same for a file
///          whose header is the number of data alone: it leaves the field directions and idir as they are, and
///          no data line holds a direction
/// Format   docs/formats/data_file.md
/// Needs    store.ndata_mtx, when read_values is true
///          read_survey_file is for somebody who has no G: it gives back what stands behind the positions as it is
/// State    dobs holds observed value / standard deviation, never the raw value. Runs once per process
/// Errors   a report, then the program stop: file not found (label "data"), end reached, a line that can't be
///          read, idir, the number of data, a standard deviation not above 0, and "read_data_file" in the
///          allocation report. A read that the system refuses throws std::system_error
#pragma once

#include <string_view>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

void read_data_file(std::string_view file_name, bool read_values);
void read_data_file_short(std::string_view file_name, bool read_values);

/// What stands behind the positions, and the directions, of each line, not divided; empty where lines hold none.
struct data_values {
  owned_array1<r8> value;      // (ndata)
  owned_array1<r8> deviation;  // (ndata), above 0
};

inline constexpr i4 as_in_the_first_line = -1;

/// Fills `survey` like read_data_file with read_values false, and gives back the columns behind: none, the value, or
/// value and standard deviation, by their number or by the numbers that the first data line holds. No G need be loaded.
data_values read_survey_file(std::string_view file_name, i4 columns = as_in_the_first_line);

}  // namespace velko
