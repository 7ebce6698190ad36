/// A header of the user's own, of the name that one of the library's has in its tree.
#pragma once

namespace consumer {
inline constexpr int cube_edge = 8;
}
