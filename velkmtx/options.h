/// What the subcommands share: how values of options are tested and shown in the help, files, and the summary.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

/// Lets a value pass that converts as its option converts it, and that is allowed.
template <class number, class predicate>
CLI::Validator allowed(predicate is_allowed, const std::string& words) {
  const auto complaint = [=](const std::string& text) {
    number value{};
    const bool good = CLI::detail::lexical_cast(text, value) && is_allowed(value);
    return good ? std::string() : "'" + text + "' is not " + words;
  };
  return {complaint, ""};
}

/// An empty name is that of a variable which a script has not set.
inline CLI::Validator name_of_a_file() {
  return allowed<std::string>([](const std::string& name) { return !name.empty(); }, "the name of a file");
}

/// A positional argument that has to be there.
inline CLI::Option* add_file(CLI::App& app, const char* name, std::string& file, const char* what) {
  return app.add_option(name, file, what)->required()->check(name_of_a_file())->option_text(" ");
}

/// Finite numbers with commas between them; empty if the text is something else.
std::vector<r8> numbers_of(const std::string& text);

/// An option whose value is a list of finite numbers with commas between them, `form` says which, as in "WEST,EAST".
inline CLI::Option* add_numbers(CLI::App& app, const std::string& name, std::vector<r8>& into,
                                const std::vector<std::size_t>& counts, const std::string& form,
                                const std::string& what) {
  const auto take = [=, &into](const std::string& text) {
    into = numbers_of(text);
    if (std::find(counts.begin(), counts.end(), into.size()) == counts.end())
      throw CLI::ValidationError(name, "'" + text + "' is not " + form);
  };
  return app.add_option_function<std::string>(name, take, what)->option_text(form);
}

/// The output takes the place of what has its name; an input that is named twice by mistake would be lost.
void check_output_is_no_input(const std::string& output, const std::vector<std::string>& inputs);

/// "3.2 kB", "1.5 MB".
std::string size_text(r8 bytes);

/// Text from files and names of files with question marks for control characters, which a terminal would obey.
std::string masked(std::string_view text);

/// One or more lines to the standard output, which is flushed.
void print(const std::string& lines);

/// A line to the standard error stream, at once.
void warn(const std::string& line);

}  // namespace velko
