#include "builder/form_choice.h"

#include "builder/cell_weights.h"
#include "builder/daubechies.h"

namespace velko {

matrix_form form_for(const form_wishes& wishes, const mesh_state& m, const survey_state& s) {
  matrix_form form;
  const bool by_volume = !wishes.dense && is_padded(m);
  form.weights.kind = wishes.weights.value_or(by_volume ? weighting::volume : weighting::none);
  form.weights.beta = wishes.beta;
  if (wishes.z0) form.weights.z0 = *wishes.z0;
  if (wishes.accuracy) form.accuracy = *wishes.accuracy / wishes.largest;
  if (wishes.dense) return form;
  form.wfilter = wavelet_filter(wishes.wavelet);
  form.tolerance = wishes.tolerance ? *wishes.tolerance : tolerance_for(m, s, form, part_to_lose);
  return form;
}

}  // namespace velko
