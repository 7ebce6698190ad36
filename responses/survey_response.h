/// Survey response: rows of G for the data of a survey.
///
/// What     row i holds the response of every cell to datum i: at its position, along the common direction, or along
///          the datum's own where idir is 0
/// Shapes   row(ncol), surface order, which for a flat surface is model order
/// Units    nT
/// Threads  an object holds work arrays and belongs to one thread; mesh and survey are shared
#pragma once

#include <span>

#include "responses/prism.h"
#include "store/state.h"

namespace velko {

class survey_response {
 public:
  survey_response(const mesh_state& shared_mesh, const survey_state& shared_survey)
      : survey_(shared_survey), responses_(shared_mesh) {}

  void row(i4 datum, std::span<r8> values) { responses_.compute(position(datum), factors(datum), values); }

  /// The same plane by plane, as prism_responses has it.
  void begin(i4 datum) { responses_.begin(position(datum), factors(datum)); }
  std::size_t next_plane(std::span<r8> plane) { return responses_.next_plane(plane); }

 private:
  point position(i4 datum) const { return {survey_.xobs(datum), survey_.yobs(datum), survey_.zobs(datum)}; }

  tensor_factors factors(i4 datum) const {
    const survey_state& s = survey_;
    const direction inducing = unit_vector(s.incl, s.decl);
    const direction measured =
        s.idir == 0 ? unit_vector(s.aincl_obs(datum), s.adecl_obs(datum)) : unit_vector(s.aincl, s.adecl);
    return factors_of(inducing, measured, s.geomag);
  }

  const survey_state& survey_;
  prism_responses responses_;
};

}  // namespace velko
