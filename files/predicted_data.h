/// The predicted-data file: the layout of the data file with predicted values in place of the observed ones.
///
/// What     write_predicted_data writes `survey` and d, replacing a file of that name without asking
/// Shapes   d(1..ndata) or longer
/// Format   docs/formats/predicted_data.md; it is a valid location file again, to the digits written
/// Errors   std::system_error that names the file and the reason; what was written stays there
#pragma once

#include <span>
#include <string_view>

#include "arrays/numbers.h"

namespace velko {

void write_predicted_data(std::string_view file_name, std::span<const r8> d);

}  // namespace velko
