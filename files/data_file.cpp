#include "files/data_file.h"

#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "files/line_reader.h"
#include "files/list_directed.h"
#include "reports/reports.h"
#include "store/state.h"
#include "text/number_layout.h"

namespace velko {

namespace {

/// The open data file and the line at hand: one line holds the values of one record.
class data_lines {
 public:
  explicit data_lines(std::string_view file_name)
      : name_(without_trailing_blanks(file_name)), unit1_(file_name, "data") {}

  std::string_view file_name() const { return name_; }
  std::string_view text() const { return text_; }

  void fetch() {
    if (std::exchange(held_, false)) return;
    const auto text = next_line(unit1_, buffer_);
    if (!text) report_and_stop({"ERROR: end reached when reading data file " + std::string(name_)});
    text_ = *text;
  }

  /// The next fetch gives this line again.
  void hold() { held_ = true; }

  [[noreturn]] void fail_at_line(std::string_view message) const {
    report_and_stop({message, without_trailing_blanks(text_)});
  }

  void check(read_status status) const {
    if (status != read_status::ok) fail_at_line("ERROR reading data file " + std::string(name_));
  }

  /// Fetches a line and reads these items from it.
  template <class... items>
  void read(items&... xs) {
    fetch();
    text_input in(text_);
    check(read_list(in, xs...));
  }

 private:
  std::string_view name_;
  text_input unit1_;
  std::array<char, 1000> buffer_;
  std::string_view text_;  // the line at hand
  bool held_ = false;
};

void read_field(data_lines& in) {
  in.read(survey.incl, survey.decl, survey.geomag);
  in.read(survey.aincl, survey.adecl, survey.idir);
  if (survey.idir != 0 && survey.idir != 1) in.fail_at_line("ERROR: idir in data file should be 0 or 1.");
}

void read_number_of_data(data_lines& in) {
  in.read(survey.ndata);
  if (survey.ndata < 1) report_and_stop({"ERROR: Number of data should be positive.", in.file_name()});
}

void allocate_positions() {
  allocate_or_report("read_data_file", [] {
    for (owned_array1<r8>* x : {&survey.yobs, &survey.xobs, &survey.zobs})
      *x = owned_array1<r8>(survey.ndata);
  });
}

void allocate_directions() {
  for (owned_array1<r8>* x : {&survey.aincl_obs, &survey.adecl_obs}) *x = owned_array1<r8>(survey.ndata);
}

void allocate_column(owned_array1<r8>& x) {
  allocate_or_report("read_data_file", [&] { x = owned_array1<r8>(survey.ndata); });
}

void check_number_of_rows() {
  if (survey.ndata != store.ndata_mtx)
    report_and_stop({"ERROR: Number of data is inconsistent in obs and mtx files."});
}

/// What stands in a line, from left to right.
using data_columns = std::vector<array1<r8>>;

void read_datum(data_lines& in, i4 i, const data_columns& columns) {
  in.fetch();
  std::array<r8, 7> values;
  const auto plain = std::span(values).first(columns.size());
  if (read_plain_numbers(in.text(), plain)) {
    for (std::size_t c = 0; c < columns.size(); ++c) columns[c](i) = plain[c];
    return;
  }
  text_input text(in.text());
  list_directed_read read(text);
  for (const array1<r8>& x : columns) read.item(x(i));
  in.check(read.finish());
}

/// One that is not a number passes the test.
void check_deviation(const data_lines& in, r8 deviation) {
  if (0 >= deviation) in.fail_at_line("ERROR: standard deviation should be greater than 0.");
}

/// Positions, and directions where each datum has its own: what every line begins with.
data_columns columns_of_stations(bool directions) {
  allocate_positions();
  data_columns columns{survey.xobs, survey.yobs, survey.zobs};
  if (directions) {
    allocate_directions();
    columns.insert(columns.end(), {survey.aincl_obs, survey.adecl_obs});
  }
  return columns;
}

/// The data are kept divided by their standard deviations.
void read_data(data_lines& in, bool directions, bool values) {
  data_columns columns = columns_of_stations(directions);
  if (values) {
    check_number_of_rows();
    for (owned_array1<r8>* x : {&survey.dobs, &survey.derr}) allocate_column(*x);
    columns.insert(columns.end(), {survey.dobs, survey.derr});
  }
  for (i4 i = 1; i <= survey.ndata; ++i) {
    read_datum(in, i, columns);
    if (!values) continue;
    check_deviation(in, survey.derr(i));
    survey.dobs(i) /= survey.derr(i);
  }
}

/// How many numbers, up to two, the next line holds behind the station. A slash ends the line.
i4 numbers_behind_station(data_lines& in, std::size_t of_station) {
  in.fetch();
  in.hold();
  const std::string_view line = in.text().substr(0, in.text().find('/'));
  for (const std::size_t count : {2U, 1U}) {
    std::array<r8, 7> values;
    text_input text(line);
    if (read_list(text, std::span(values).first(of_station + count)) == read_status::ok)
      return static_cast<i4>(count);
  }
  return 0;
}

}  // namespace

void read_data_file(std::string_view file_name, bool read_values) {
  data_lines in(file_name);
  read_field(in);
  read_number_of_data(in);
  read_data(in, survey.idir == 0, read_values);
}

void read_data_file_short(std::string_view file_name, bool read_values) {
  data_lines in(file_name);
  read_number_of_data(in);
  read_data(in, false, read_values);
}

data_values read_survey_file(std::string_view file_name, i4 columns) {
  data_lines in(file_name);
  read_field(in);
  read_number_of_data(in);
  data_columns of_line = columns_of_stations(survey.idir == 0);
  if (columns == as_in_the_first_line) columns = numbers_behind_station(in, of_line.size());
  data_values found;
  const auto add = [&](owned_array1<r8>& column) {
    allocate_column(column);
    of_line.push_back(column);
  };
  if (columns >= 1) add(found.value);
  if (columns >= 2) add(found.deviation);
  for (i4 i = 1; i <= survey.ndata; ++i) {
    read_datum(in, i, of_line);
    if (columns >= 2) check_deviation(in, found.deviation(i));
  }
  return found;
}

}  // namespace velko
