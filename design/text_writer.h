/// Text writer: the text files that velkmtx makes, under a temporary name until they are whole.
///
/// Numbers  widths and origins with the fewest digits that read back to the same number
/// Errors   those of output_file
/// See      docs/formats/mesh_file.md, docs/formats/model_file.md
#pragma once

#include <span>

#include "arrays/numbers.h"
#include "design/mesh_design.h"
#include "files/output_file.h"

namespace velko {

/// Counts, origin, widths along x, y, z; equal widths in a row stand as a repeat.
void write_mesh_file(output_file& file, const mesh_axes& axes);

/// One value to a line, in the order of the elements, with nine digits.
void write_model_file(output_file& file, std::span<const r8> values);

}  // namespace velko
