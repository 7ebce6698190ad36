/// Reports: how the programs of the suite speak to their user. Fixed words, fixed layout, no state.
///
/// Channels  a report goes to the console and then to the log, with the same layout, unless it says otherwise
/// Names     labels and file names are shown without their trailing blanks
/// Threads   the main thread, outside any parallel region
/// See       reports/program_stop.h for the stop that ends a failed run
#pragma once

#include <ctime>
#include <initializer_list>
#include <string_view>

#include "reports/channel.h"
#include "reports/program_stop.h"

namespace velko {

/// One line, to the console and then to the log.
void report(std::string_view line);

/// A blank line and then the given lines, to the console and then to the log; then the program stop.
[[noreturn]] void report_and_stop(std::initializer_list<std::string_view> lines);

/// Any failure to open an input file, whatever its reason: a blank line, " ERROR: LABEL file not found:
/// NAME".
[[noreturn]] void report_file_not_found(std::string_view label, std::string_view file_name);

/// A blank line, "Memory allocation error in: LABEL", a blank line. The label is a routine's name with, at
/// need, that of the array, such as "getpar Gs".
[[noreturn]] void report_allocation_error(std::string_view label);

/// Runs an allocation; where it fails, report_allocation_error(label) ends the program.
template <class body>
void allocate_or_report(std::string_view label, body&& allocation) {
  try {
    allocation();
  } catch (const std::bad_alloc&) {
    report_allocation_error(label);
  }
}

/// The number of threads, a warning where they are more than the processors, and the suite's version.
void print_banner(std::string_view title, channel& target = console());

/// The local date and time: a blank line, "LABEL  3/07/2013  14:05:09" (month, day, year), a blank line. In
/// the second channel the label stands behind "! ", so that the stamp is a comment there.
void print_time_stamp(std::string_view label, channel& target, channel* second = nullptr);
void print_time_stamp(std::string_view label, const std::tm& when, channel& target,
                      channel* second = nullptr);

}  // namespace velko
