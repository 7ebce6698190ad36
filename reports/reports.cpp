#include "reports/reports.h"

#include <omp.h>

#include <string>

#include "reports/version.h"
#include "text/number_layout.h"

namespace velko {

namespace {

void write_lines(channel& target, std::initializer_list<std::string_view> lines) {
  for (std::string_view line : lines) target.write_line(line);
}

void write_stamp(channel& target, std::string_view stamp) {
  write_lines(target, {"", stamp, ""});
}

}  // namespace

void report(std::string_view line) {
  console().write_line(line);
  log_file().write_line(line);
}

void report_and_stop(std::initializer_list<std::string_view> lines) {
  for (channel* target : {&console(), &log_file()}) {
    target->write_line("");
    write_lines(*target, lines);
  }
  stop_program();
}

void report_file_not_found(std::string_view label, std::string_view file_name) {
  std::string line = " ERROR: ";
  line += without_trailing_blanks(label);
  line += " file not found: ";
  line += without_trailing_blanks(file_name);
  report_and_stop({line});
}

void report_allocation_error(std::string_view label) {
  std::string line = "Memory allocation error in: ";
  line += without_trailing_blanks(label);
  report_and_stop({line, ""});
}

void print_banner(std::string_view title, channel& target) {
  std::string threads = "Parallelized with OpenMP.  # of threads:";
  append_integer(threads, omp_get_max_threads(), 3);
  write_lines(target, {"", threads});
  if (omp_get_max_threads() > omp_get_num_procs())
    write_lines(target, {"", "WARNING: more threads started than processors available.", ""});
  std::string version = "VELKO - Version ";
  version += suite_version();
  version += " :  ";
  version += without_trailing_blanks(title);
  write_lines(target, {"", version, "", "Magnetic forward modelling in three dimensions",
                       "The VELKO developers", ""});
}

void print_time_stamp(std::string_view label, channel& target, channel* second) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  print_time_stamp(label, local, target, second);
}

void print_time_stamp(std::string_view label, const std::tm& when, channel& target, channel* second) {
  std::string stamp(without_trailing_blanks(label));
  stamp += ' ';
  append_integer(stamp, when.tm_mon + 1, 2);
  stamp += '/';
  append_integer(stamp, when.tm_mday, 2, 2);
  stamp += '/';
  append_integer(stamp, when.tm_year + 1900, 4);
  stamp += "  ";
  append_integer(stamp, when.tm_hour, 2, 2);
  stamp += ':';
  append_integer(stamp, when.tm_min, 2, 2);
  stamp += ':';
  append_integer(stamp, when.tm_sec, 2, 2);
  write_stamp(target, stamp);
  if (second != nullptr) write_stamp(*second, "! " + stamp);
}

}  // namespace velko
