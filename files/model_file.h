/// The model file: one value per line for every cell of the mesh, or the words "VALUE number" in place of a
/// file name.
///
/// What     read_model fills the vector of active cells, then multiplies it by wtz where the caller passes it
/// Shapes   model(1..ncell); wtz in surface order, one for every cell below the surface, active or not
/// Order    of the file: model order. Of model: cell_map
/// Needs    get_active_cells, which has built cells.cell_map from this itop and checked it
/// Format   docs/formats/model_file.md
/// Errors   a report with the caller's label, then the program stop: file not found, end reached, a value
///          that is no number, too many values, a constant that can't be read. Stops with a text:
///          "size(model) /= ncell" and "idx1 /= size(wtz)". The log tells where the model came from
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

void read_model(std::string_view file_name, std::string_view label, std::span<r8> model,
                std::optional<std::span<const r8>> wtz, array2<const i4> itop);

}  // namespace velko
