#include "recover/command_line.h"

#include <CLI/CLI.hpp>
#include <string_view>

namespace recover {

namespace {

using velko::i4;
using velko::r8;

constexpr auto what_it_does =
    "recover: the smallest model of susceptibility that explains observed data as well as their\n"
    "standard deviations ask.\n";

constexpr auto usage = "recover [OPTIONS] SENSITIVITY OBSERVED [BASE]";

constexpr auto outcome =
    "\nWrites BASE_001.pre, BASE_002.pre ... (predicted data of each iteration), BASE.sus (the model, one "
    "value\n"
    "for each cell of the mesh) and BASE.log. The exit status is 0 when the misfit has reached its target.\n"
    "OMP_NUM_THREADS sets the number of threads.";

// The library forms a name such as BASE_001.pre in 30 characters.
constexpr std::size_t longest_base = 30 - std::string_view("_001.pre").size();

template <class predicate>
CLI::Validator allowed(predicate is_allowed, const std::string& words) {
  return {[=](const std::string& text) { return is_allowed(text) ? "" : "'" + text + "' is not " + words; },
          ""};
}

/// A predicate on texts from one on numbers: true for the text of a number that passes.
template <class number, class predicate>
auto as_number(predicate is_allowed) {
  return [=](const std::string& text) {
    number value{};
    return CLI::detail::lexical_cast(text, value) && is_allowed(value);
  };
}

/// Every line of an error has the name of the program in front.
std::string words_of_error(const CLI::App*, const CLI::Error& error) {
  return std::string("recover: ") + error.what() + "\nrecover: usage: " + usage + "; --help says more\n";
}

void add_files(CLI::App& app, command_line& into) {
  const auto fits = [](const std::string& base) { return !base.empty() && base.size() <= longest_base; };
  app.add_option("SENSITIVITY", into.sensitivity_file, "sensitivity file of the survey")
      ->required()
      ->option_text(" ");
  app.add_option("OBSERVED", into.observed_file, "data file: positions, observed values, standard deviations")
      ->required()
      ->option_text(" ");
  app.add_option("BASE", into.base_name, "name that the files of the run begin with; default recover")
      ->check(allowed(fits, "a name of at most " + std::to_string(longest_base) + " characters"))
      ->option_text(" ");
}

void add_cells(CLI::App& app, command_line& into) {
  app.add_option("--active", into.active_file, "active-cell file: -1, 0 or 1 for each cell of the mesh")
      ->option_text("FILE");
  app.add_option(
         "--fixed", into.fixed_values,
         "model of the cells that are not active: a model\nfile, or \"VALUE number\"; default \"VALUE 0\"")
      ->option_text("MODEL");
}

void add_choices(CLI::App& app, command_line& into) {
  const auto is_exponent = [](r8 e) { return 0 <= e && e <= 4; };  // false for a NaN, like the next one
  const auto is_misfit = [](r8 t) { return 0 < t && t <= 1e30; };
  const auto is_focus = [](i4 n) { return 0 <= n && n <= 20; };
  const auto is_count = [](i4 n) {
    return 1 <= n && n <= 999;
  };  // the numbers of the files have three digits
  const auto add = [&](const char* name, auto& value, const char* what) {
    return app.add_option(name, value, what)->option_text("NUMBER");
  };
  add("--target", into.target, "misfit to reach, chi-squared / number of data;\ndefault 1")
      ->check(allowed(as_number<r8>(is_misfit), "a number above 0"));
  add("--weighting", into.weighting,
      "exponent of the weights by sensitivity; default 1, or\n0 where the sensitivity file brings weights")
      ->check(allowed(as_number<r8>(is_exponent), "a number from 0 to 4"));
  add("--focus", into.focus, "times that the model is made more compact;\ndefault 0")
      ->check(allowed(as_number<i4>(is_focus), "a whole number from 0 to 20"));
  add("--iterations", into.iterations, "dampings to try at most, in all; default 60")
      ->check(allowed(as_number<i4>(is_count), "a whole number from 1 to 999"));
}

}  // namespace

std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into) {
  CLI::App app(what_it_does, "recover");
  app.footer(outcome);
  app.failure_message(words_of_error);
  add_files(app, into);
  add_cells(app, into);
  add_choices(app, into);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    return app.exit(end);
  }
  return std::nullopt;
}

}  // namespace recover
