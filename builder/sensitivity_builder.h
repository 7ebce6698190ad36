/// Sensitivity builder: from mesh, surface and survey to a sensitivity file.
///
/// What     rows of G are computed, divided by the weights and encoded in parallel, and each is written as soon as those
///          before it are. gdiag is the diagonal of G transposed G as the file holds G: of the rows that the stored
///          values stand for, rounded to r4 and, in the compressed form, brought back from the wavelet domain. So the
///          way back is gone for each row, and shows what the row really lost
/// Parts    a file may have some rows of the survey alone; join_parts (builder/part_joining.h) makes one file of several
/// Memory   what a row_maker has, for each thread; wtz and gdiag twice; in a part a vector of their size for each 1024
///          rows; never G. memory_for tells it, by a measurement
/// Threads  those of OpenMP; the bytes of the file are the same for every number of them, and on every machine
/// Errors   std::bad_alloc; those of the file; the program stop for a value of G beyond 32-bit floats; what
///          `row_is_written` throws
#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "builder/cell_weights.h"
#include "builder/cube_size.h"
#include "builder/provenance.h"
#include "builder/record_writer.h"
#include "builder/run_notes.h"
#include "store/state.h"

namespace velko {

/// Which form of G, and how much of it.
struct matrix_form {
  std::vector<r8> wfilter;  // empty: dense
  r8 tolerance = 0.0;       // relative 2-norm of what a compressed row may lose
  std::optional<r8> accuracy =
      std::nullopt;  // 1-norm of what a row may lose in the model's own units; the tolerance is
                     // then where the search for it begins
  weighting weights;

  bool compressed() const { return !wfilter.empty(); }
};

/// What a row lost. A predicted datum is off by at most one_norm times the largest value of the model.
struct row_loss {
  r8 energy = 0;    // square of the 2-norm, of the row over the weights
  r8 one_norm = 0;  // nT for a susceptibility of 1, the weights taken out
};

/// What the data of a trial model lost, as a fraction of them, in the 2-norm over the rows that were tried.
struct trial_error {
  std::string_view model;
  r8 error = 0;
};

/// Rows of a file that was written, spread over the survey, beside exact ones: what they stand for comes from their bytes
/// through WTN, another way than the one that they were made on.
struct verification {
  i4 count = 0;
  r8 loss = 0;      // 2-norm of the difference, relative: the worst
  r8 one_norm = 0;  // of the difference, nT for a susceptibility of 1: the worst
  r8 beyond = 0;    // by what part of itself the loss that was told was exceeded: 0 if none was
};

/// What became of the rows.
struct row_statistics {
  i4 made = 0;                         // rows that these are the statistics of
  i4 least = 0, median = 0, most = 0;  // values stored for a row
  i8 stored = 0;                       // for all
  r8 loss = 0, largest_loss = 0;       // 2-norm of stored minus computed, relative: of all rows; of the worst
  r8 largest_one_norm = 0;             // of what a row lost, nT for a susceptibility of 1
  i4 tried = 0;                        // rows, with trial models
  std::vector<trial_error> trials;     // of models that have data
  r8 worst_trial = 0;                  // the largest of their errors
  verification verified;               // of the rows that were asked for
};

/// Columns of G: cells below the surface.
i4 columns_of(const mesh_state& m);

/// What the provenance tells of the form, a line for each thing. Whatever changes a byte of the rows belongs here.
std::string settings_of(const matrix_form& form);

/// Mesh, with its itop, and survey have passed check_mesh and check_survey; the rows are some of the survey's, or all. So
/// many of them are verified once all are written. With notes
/// the rows of an earlier run that was killed stay, and the statistics are those of the others. After each row `row_is_written` is called with the number of rows in the
/// file, by one thread at a time.
row_statistics write_sensitivity(record_writer& out, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form, const survey_rows& rows,
                                 const std::function<void(i4)>& row_is_written, i4 rows_to_verify = 0,
                                 run_notes* notes = nullptr);

/// The rows of a few data, spread over the survey, made and dropped: what all will be like.
struct row_sample {
  row_statistics rows;
  r8 seconds = 0;         // that one thread takes for one of them
  i8 bytes = 0;           // of this process with its inputs and what one thread needs, as measured
  i8 bytes_of_maker = 0;  // what every other thread needs
  bool compressed = false;
};
row_sample sample_rows(const mesh_state& m, const survey_state& s, const matrix_form& form);

/// The most memory that a process has which made the sample, or that takes the inputs like it, while it writes these rows.
i8 memory_for(const mesh_state& m, const survey_state& s, const survey_rows& rows, const row_sample& sample,
              int threads);

/// The tolerance for which the data of every trial model lose at most so much of themselves, with some to spare; or, where
/// the form has an accuracy, one that most rows meet it with. It is judged by a few rows, spread over the survey, and
/// rounded to two digits. 0, for keeping all, where no other does.
r8 tolerance_for(const mesh_state& m, const survey_state& s, const matrix_form& form, r8 trial_error);

}  // namespace velko
