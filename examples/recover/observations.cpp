#include "recover/observations.h"

#include <velko/files/data_file.h>
#include <velko/files/line_reader.h>
#include <velko/files/list_directed.h>
#include <velko/reports/program_stop.h>
#include <velko/store/state.h>

#include <array>
#include <cmath>

namespace recover {

using namespace velko;

namespace {

/// The column behind position and direction, of every datum.
values read_values(const std::string& file_name) {
  text_input unit1(file_name, "data");
  std::array<char, 1000> buffer;
  for (int header = 0; header < 3; ++header) next_line(unit1, buffer);
  const std::size_t columns = survey.idir == 0 ? 6 : 4;
  values data;
  for (i4 i = 1; i <= survey.ndata; ++i) {
    const auto line = next_line(unit1, buffer);
    if (!line) stop_program("recover: the data file ends before its data");
    std::array<r8, 6> row;
    row.fill(std::nan(""));
    text_input text(*line);
    list_directed_read read(text);
    read.item(std::span(row).first(columns));
    if (read.finish() != read_status::ok || !std::isfinite(row[columns - 1]))
      stop_program("recover: datum " + std::to_string(i) + " has no value");
    data.push_back(row[columns - 1]);
  }
  return data;
}

observations with_noise_of_the_command_line(const std::string& file_name, const noise_model& noise) {
  read_data_file(file_name, false);
  if (survey.ndata != store.ndata_mtx)
    stop_program("recover: the data file has " + std::to_string(survey.ndata) +
                 " data, the sensitivity file " + std::to_string(store.ndata_mtx));
  observations all{.data = read_values(file_name), .deviation = {}, .fitted = {}};
  for (const r8 d : all.data) all.deviation.push_back(noise.floor + noise.share * std::abs(d));
  return all;
}

/// The reader leaves data divided by their deviations.
observations with_noise_of_the_file(const std::string& file_name) {
  read_data_file(file_name, true);
  observations all{.data = {}, .deviation = {survey.derr.begin(), survey.derr.end()}, .fitted = {}};
  for (i4 i = 1; i <= survey.ndata; ++i) all.data.push_back(survey.dobs(i) * survey.derr(i));
  return all;
}

}  // namespace

observations read_observations(const std::string& file_name, const noise_model& noise, i4 every) {
  observations all =
      noise.given() ? with_noise_of_the_command_line(file_name, noise) : with_noise_of_the_file(file_name);
  for (const r8 s : all.deviation)
    if (s <= 0) stop_program("recover: a standard deviation is not above 0");
  for (std::size_t i = 0; i < all.data.size(); ++i)
    all.fitted.push_back(i % static_cast<std::size_t>(every) == 0 ? 1 : 0);
  return all;
}

}  // namespace recover
