#include "mpi/survey_on_ranks.h"

#include "store/state.h"

namespace velko {

void broadcast_survey(const ranks& all) {
  for (r8* value : {&survey.incl, &survey.decl, &survey.geomag, &survey.aincl, &survey.adecl})
    all.broadcast(*value);
  for (i4* count : {&survey.idir, &survey.ndata}) all.broadcast(*count);
  for (auto* values : {&survey.xobs, &survey.yobs, &survey.zobs, &survey.aincl_obs, &survey.adecl_obs,
                       &survey.dobs, &survey.derr})
    all.broadcast(*values);
}

}  // namespace velko
