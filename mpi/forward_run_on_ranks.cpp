#include "mpi/forward_run_on_ranks.h"

#include "mpi/spread_matrix.h"
#include "mpi/survey_on_ranks.h"
#include "store/state.h"
#include "velkrund/forward_run.h"

namespace velko {

void velkrund(const ranks& all, std::span<const std::string_view> arguments) {
  run_files files;
  all.together([&] { files = begin_run(arguments); });
  const spread_matrix G(all, files.sensitivity);
  all.first_alone([&] { read_locations(files); });
  broadcast_survey(all);
  all.together(prepare_vectors);
  all.first_alone([&] { read_weighted_model(files); });
  all.broadcast(run.amodel.elements());
  G.forward(run.amodel.elements(), run.dpred.elements());
  all.first_alone(write_result);
}

}  // namespace velko
