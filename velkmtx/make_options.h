/// Options of velkmtx make.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "arrays/numbers.h"
#include "builder/cell_weights.h"
#include "builder/provenance.h"

namespace velko {

struct make_options {
  std::string mesh_file, topography_file, location_file, output_file;
  std::string wavelet = "d4";
  std::optional<r8> tolerance;  // else found for the trial models, or for the accuracy
  std::optional<r8> accuracy;   // nT
  r8 largest = 0.1;             // value of a model, to go with the accuracy
  bool dense = false, dry_run = false, quiet = false;
  std::optional<weighting::kind_t> weights;  // else what suits the mesh
  r8 beta = 3.0, z0 = -1.0;                  // z0 < 0: not given
  int threads = 0;                           // 0: what OpenMP gives
  i4 rows_to_verify = 0;
  survey_rows rows;  // none: all
  bool resume = false, allow_buried = false;
  r8 note_every = 10.0;  // seconds
};

/// The arguments and options of the subcommand, and what its help says of them.
void add_options(CLI::App& make, make_options& into);

}  // namespace velko
