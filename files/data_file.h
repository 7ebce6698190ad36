/// The data or location file: field directions, number of data, and one line per datum.
///
/// What     read_data_file fills `survey`; with read_values false it takes the positions (and, for idir 0,
///          the directions) and ignores the columns behind them. read_data_file_short is the same for a file
///          whose header is the number of data alone: it leaves the field directions and idir as they are, and
///          no data line holds a direction
/// Format   docs/formats/data_file.md
/// Needs    store.ndata_mtx, when read_values is true
/// State    dobs holds observed value / standard deviation, never the raw value. Runs once per process
/// Errors   a report, then the program stop: file not found (label "data"), end reached, a line that can't be
///          read, idir, the number of data, a standard deviation not above 0, and "read_data_file" in the
///          allocation report. A read that the system refuses throws std::system_error
#pragma once

#include <string_view>

namespace velko {

void read_data_file(std::string_view file_name, bool read_values);
void read_data_file_short(std::string_view file_name, bool read_values);

}  // namespace velko
