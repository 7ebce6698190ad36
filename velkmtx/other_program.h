/// Other program: how velkmtx becomes the one that does a part of its work.
///
/// Errors   std::system_error where it cannot be run
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velko {

/// The folder of the running program, wherever that was installed.
std::filesystem::path folder_of_programs();

/// The program takes the place of this one; words[0] is the name that it sees. One without a folder is looked for as a shell
/// does.
[[noreturn]] void become(const std::string& program, std::vector<std::string> words);

}  // namespace velko
