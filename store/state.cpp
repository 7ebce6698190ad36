#include "store/state.h"

#include "wavelet/wtn_mod.h"

namespace velko {

void reset_state() {
  mesh = {};
  store = {};
  survey = {};
  cells = {};
  run = {};
  reset_WTN_MOD();
}

}  // namespace velko
