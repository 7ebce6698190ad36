/// The output of velkmtx make: a file that takes its name when it is whole, or one that grows and that a later run goes on with.
#pragma once

#include "builder/sensitivity_builder.h"
#include "velkmtx/make_options.h"

namespace velko {

struct written_file {
  row_statistics rows;
  r8 bytes = 0;
};

/// Makes these rows of the survey. Gives the exit status: 0, or that of a signal which came in between.
int write_file_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                  written_file& written);

}  // namespace velko
