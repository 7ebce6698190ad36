/// How velkmtx calls itself, to its users and in the files that it makes.
#pragma once

#include <string>

#include "reports/version.h"

namespace velko {

inline std::string program_version() {
  return "velkmtx, VELKO " + std::string(suite_version());
}

}  // namespace velko
