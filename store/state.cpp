#include "store/state.h"

#include "store/problem.h"

namespace velko {

void reset_state() {
  whole_state fresh;
  exchange_shared_state(fresh);
  reset_WTN_MOD();
}

}  // namespace velko
