#include "velkmtx/make_inputs.h"

#include <fmt/format.h>

#include <string>

#include "builder/input_checks.h"
#include "builder/likely_mistakes.h"
#include "builder/text_diagnosis.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "topography/topography_file.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

/// Stations in rock are there by mistake, as a rule.
void check_burial(const make_options& options) {
  const std::string words = burial_of(mesh, survey);
  if (words.empty()) return;
  if (!options.allow_buried)
    stop_program(
        fmt::format("velkmtx: {}{}; --allow-buried takes them", words, cause_of_burial(mesh, survey)));
  warn(words);
}

void warn_of_mistakes(const make_options& options) {
  if (const std::string more = told_of_lines_behind(options.location_file, survey.ndata); !more.empty())
    warn(more);
  for (const std::string& mistake : likely_mistakes(mesh, survey)) warn(mistake);
}

}  // namespace

void read_inputs(const make_options& options) {
  read_or_explain([&] { read_mesh_file(options.mesh_file); },
                  [&] { return explain_mesh_file(options.mesh_file); });
  check_mesh(mesh);
  read_or_explain([&] { read_topography(options.topography_file); },
                  [&] { return explain_topography_file(options.topography_file); });
  check_surface(mesh);
  read_or_explain([&] { read_data_file(options.location_file, false); },
                  [&] { return explain_data_file(options.location_file); });
  check_survey(survey);
  warn_of_mistakes(options);
  check_burial(options);
}

}  // namespace velko
