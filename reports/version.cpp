#include "reports/version.h"

namespace velko {

std::string_view suite_version() {
  return VELKO_VERSION;
}

}  // namespace velko
