/// Text writer: text files of the suite, under a temporary name until they are whole.
///
/// Numbers  with the fewest digits that read back to the same number, unless it says otherwise
/// Errors   those of output_file
/// See      docs/formats
#pragma once

#include <span>

#include "arrays/numbers.h"
#include "design/mesh_design.h"
#include "files/output_file.h"

namespace velko {

/// Counts, origin, widths along x, y, z; equal widths in a row stand as a repeat.
void write_mesh_file(output_file& file, const mesh_axes& axes);

/// One value to a line, in the order of the elements: with nine digits, or so that all read back to the same numbers.
enum class model_digits { nine, all };
void write_model_file(output_file& file, std::span<const r8> values,
                      model_digits digits = model_digits::nine);

/// One of -1, 0 and 1 to a line.
void write_active_file(output_file& file, std::span<const i4> active);

/// A data file, or a location file where `values` is empty; with standard deviations behind the values where there are
/// any. Values are written as they stand.
void write_survey_file(output_file& file, const survey_state& s, std::span<const r8> values,
                       std::span<const r8> deviations);

/// Points of a terrain, three numbers each.
void write_topography_file(output_file& file, std::span<const r8> points);

}  // namespace velko
