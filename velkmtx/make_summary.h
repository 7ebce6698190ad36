/// What velkmtx make tells of the file that it made, or would make.
#pragma once

#include <string>

#include "builder/form_choice.h"
#include "builder/sensitivity_builder.h"
#include "velkmtx/make_options.h"
#include "velkmtx/make_output.h"

namespace velko {

std::string summary_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                       const written_file& written, r8 seconds);

std::string plan_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                    const row_sample& sample);

}  // namespace velko
