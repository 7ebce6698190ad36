# Run by cmake --install: headers that include one another from the root of the tree do so, once installed, from velko/, so
# that a user's own folder store/ is never taken for ours. Given velko_rooms, velko_headers.
string(REPLACE ";" "|" rooms "${velko_rooms}")
file(GLOB_RECURSE headers "${velko_headers}/*.h")
foreach(header IN LISTS headers)
  file(READ "${header}" text)
  string(REGEX REPLACE "(#include \")((${rooms})/)" "\\1velko/\\2" text "${text}")
  file(WRITE "${header}" "${text}")
endforeach()
