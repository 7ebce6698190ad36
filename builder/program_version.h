/// How velkmtx calls itself, to its users and in the files that it makes.
#pragma once

namespace velko {

inline constexpr auto program_version = "velkmtx, VELKO 5.0";

}  // namespace velko
