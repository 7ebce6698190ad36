/// The predicted-data file: the layout of the data file with predicted values in place of the observed ones.
///
/// What     write_predicted_data writes `survey` and d, replacing a file of that name without asking.
///          write_predicted_iter does so for one iteration of an inversion: its file is named BASE_007.EXTENSION,
///          and its d is divided by the standard deviations like survey.dobs, so d(i) * derr(i) is written
/// Names    a numbered one shows the iteration in three digits, or as three asterisks from 1000 up and below 0,
///          and has at most 30 characters
/// Shapes   d(1..ndata) or longer
/// Needs    survey, for write_predicted_iter with derr
/// Format   docs/formats/predicted_data.md; it is a valid location file again, to the digits written
/// Whole    a file of that name is replaced when the new one is whole, and stays as it is when that fails; what can't be
///          replaced, such as a FIFO, is written in place (files/output_file.h)
/// Errors   std::system_error that names the file and the reason, ENAMETOOLONG for a numbered name that does not
///          fit. Stops with a text, before a file is made, where a vector is too
///          short: "size(d) < ndata", "size(derr) < ndata", and, where idir is below 1, "size(aincl_obs) < ndata",
///          "size(adecl_obs) < ndata"
#pragma once

#include <span>
#include <string_view>

#include "arrays/numbers.h"

namespace velko {

void write_predicted_data(std::string_view file_name, std::span<const r8> d);
void write_predicted_iter(std::string_view base_name, std::string_view extension, std::span<const r8> d,
                          i4 iteration);

}  // namespace velko
