/// Options of the subcommands: how their values are tested and shown in the help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

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

/// A positional argument that has to be there.
inline CLI::Option* add_file(CLI::App& app, const char* name, std::string& file, const char* what) {
  return app.add_option(name, file, what)->required()->option_text(" ");
}

}  // namespace velko
