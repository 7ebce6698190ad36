/// Part joining: one sensitivity file of files that have some rows of a survey each.
///
/// What     the same bytes as one run over all rows. Rows are copied and their checksums verified; gdiag comes of the sums
///          that the parts kept, and where a block of rows began in an earlier part, of its rows, brought back from their
///          bytes
/// Refused  files without provenance or damaged ones; parts of different surveys, meshes, surfaces or settings; rows that
///          are in none of the parts, or in two
/// Memory   gdiag twice; for each thread a row and a cube of r8; the longest row
/// Errors   those of output_file; the program stop for what is refused; what `row_is_written` throws
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "files/output_file.h"

namespace velko {

struct joined_file {
  i4 rows = 0;
  i4 restored = 0;  // rows that were brought back for gdiag
};

/// After each row `row_is_written` is called with the number of rows in the file and that of all.
joined_file join_parts(output_file& file, const std::vector<std::string>& parts,
                       const std::function<void(i4, i4)>& row_is_written);

}  // namespace velko
