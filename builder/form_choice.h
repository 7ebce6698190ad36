/// Form choice: from what a user says of the form of G, if anything, to the form that is made.
///
/// What     the defaults of everybody who makes sensitivity files: weights that suit the mesh, and a tolerance that suits
///          trial models or the accuracy, where none is given
/// Units    accuracy nT; tolerance and part_to_lose parts of one
#pragma once

#include <optional>
#include <string>

#include "builder/sensitivity_builder.h"
#include "store/state.h"

namespace velko {

inline constexpr r8 part_to_lose =
    0.01;  // of data of trial models, where neither tolerance nor accuracy is given

struct form_wishes {
  std::string wavelet = "d4";
  bool dense = false;
  std::optional<r8> tolerance = std::nullopt, accuracy = std::nullopt;
  r8 largest = 0.1;  // value of a model, to go with the accuracy
  std::optional<weighting::kind_t> weights =
      std::nullopt;  // else by volume where the mesh is padded and rows are compressed
  r8 beta = 3.0;
  std::optional<r8> z0 = std::nullopt;  // else that of the survey
};

/// Mesh and survey have passed their checks. Takes rows of the survey to judge a tolerance by.
matrix_form form_for(const form_wishes& wishes, const mesh_state& m, const survey_state& s);

}  // namespace velko
