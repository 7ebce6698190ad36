/// The version of the suite, as its programs tell it and the files that they make: "5.0".
///
/// Sources  project() in the top CMakeLists.txt; no other place says a number
#pragma once

#include <string_view>

namespace velko {

std::string_view suite_version();

}  // namespace velko
