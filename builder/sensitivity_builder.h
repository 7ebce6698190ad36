/// Sensitivity builder: from mesh, surface and survey to a sensitivity file.
///
/// What     rows of G are computed, divided by the weights and encoded in parallel, and each is written as soon as those
///          before it are. gdiag is the diagonal of G transposed G as the file holds G: of the rows that the stored
///          values stand for, rounded to r4 and, in the compressed form, brought back from the wavelet domain. So the
///          way back is gone for each row, and shows what the row really lost
/// Parts    a file may have some rows of the survey alone; join_parts (builder/part_joining.h) makes one file of several
/// Memory   for each thread a row, a cube of r8 and, for the choice of coefficients, half a cube of i4 (memory_for);
///          wtz, gdiag twice and a trial model; in a part a vector of their size for each 1024 rows; never G
/// Threads  those of OpenMP; the bytes of the file are the same for every number of them, and on every machine
/// Errors   std::bad_alloc; those of output_file; the program stop for a value of G beyond 32-bit floats; what
///          `row_is_written` throws
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "builder/cell_weights.h"
#include "builder/cube_size.h"
#include "builder/provenance.h"
#include "files/output_file.h"
#include "store/state.h"

namespace velko {

/// Which form of G, and how much of it.
struct matrix_form {
  std::vector<r8> wfilter;  // empty: dense
  r8 tolerance = 0.0;       // relative 2-norm of what a compressed row may lose
  weighting weights;

  bool compressed() const { return !wfilter.empty(); }
};

/// What became of the rows.
struct row_statistics {
  i4 least = 0, median = 0, most = 0;  // values stored for a row
  i8 stored = 0;                       // for all
  r8 loss = 0, largest_loss = 0;       // 2-norm of stored minus computed, relative: of all rows; of the worst
  r8 deep_loss = 0;                    // the same of the data of trial_model
};

/// Columns of G: cells below the surface.
i4 columns_of(const mesh_state& m);

/// Bytes that write_sensitivity asks for, the inputs apart, when so many values are stored for a row.
i8 memory_for(const mesh_state& m, const matrix_form& form, i4 stored, int threads);

/// What the provenance tells of the form, a line for each thing. Whatever changes a byte of the rows belongs here.
std::string settings_of(const matrix_form& form);

/// Mesh, with its itop, and survey have passed check_mesh and check_survey; the rows are some of the survey's, or all.
/// After each row `row_is_written` is called with the number of rows in the file, by one thread at a time.
row_statistics write_sensitivity(output_file& file, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form, const row_range& rows,
                                 const std::function<void(i4)>& row_is_written);

/// The rows of a few data, spread over the survey, made and dropped: what all will be like. `seconds` is the time that
/// one thread takes for one of them.
struct row_sample {
  row_statistics rows;
  i4 count = 0;
  r8 seconds = 0;
};
row_sample sample_rows(const mesh_state& m, const survey_state& s, const matrix_form& form, i4 count);

}  // namespace velko
