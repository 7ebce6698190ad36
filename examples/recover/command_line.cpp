#include "recover/command_line.h"

#include <CLI/CLI.hpp>
#include <map>
#include <string_view>

namespace recover {

namespace {

using velko::i4;
using velko::r8;

constexpr auto what_it_does =
    "recover: the smoothest model of susceptibility within its bounds that explains observed data as well\n"
    "as their noise allows.\n";

constexpr auto usage = "recover [OPTIONS] SENSITIVITY OBSERVED [BASE]";

constexpr auto outcome =
    "\nWrites BASE_001.pre, BASE_002.pre ... (predicted data of each damping), BASE.sus (the model, one "
    "value\n"
    "for each cell of the mesh), BASE.curve (misfit against model norm), BASE.state (where --resume goes on) "
    "and\n"
    "BASE.log. The exit status is 0 when the misfit has reached its target. OMP_NUM_THREADS sets the number "
    "of\n"
    "threads.";

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
  app.add_option("OBSERVED", into.observed_file,
                 "data file: positions, observed values, standard deviations\n(none with --noise-floor or "
                 "--noise-share)")
      ->required()
      ->option_text(" ");
  app.add_option("BASE", into.base_name, "name that the files of the run begin with; default recover")
      ->check(allowed(fits, "a name of at most " + std::to_string(longest_base) + " characters"))
      ->option_text(" ");
}

void add_cells(CLI::App& app, command_line& into) {
  app.add_option("--active", into.active_file, "active-cell file: -1, 0 or 1 for each cell of the mesh")
      ->option_text("FILE");
  const auto add = [&](const char* name, std::string& value, const std::string& what) {
    app.add_option(name, value, what + ": a model file,\nor \"VALUE number\"; default \"" + value + '"')
        ->option_text("MODEL");
  };
  add("--fixed", into.fixed_values, "model of the cells that are not active");
  add("--reference", into.reference, "model to stay close to");
  add("--lower", into.lower, "least susceptibility of each cell");
  add("--upper", into.upper, "largest susceptibility of each cell");
}

/// An option with one number that has to pass a test.
template <class number, class predicate>
CLI::Option* add_number(CLI::App& app, const char* name, number& value, const char* what,
                        predicate is_allowed, const char* words) {
  return app.add_option(name, value, what)
      ->check(allowed(as_number<number>(is_allowed), words))
      ->option_text("NUMBER");
}

void add_data(CLI::App& app, command_line& into) {
  const auto not_negative = [](r8 v) { return 0 <= v && v <= 1e30; };  // false for a NaN, like the others
  add_number(app, "--noise-floor", into.noise.floor, "standard deviation of every datum, nT", not_negative,
             "a number from 0");
  add_number(app, "--noise-share", into.noise.share, "and this share of its value", not_negative,
             "a number from 0");
  add_number(
      app, "--every", into.every, "fit one datum of so many; the others judge", [](i4 n) { return n >= 1; },
      "a whole number above 0");
  add_number(
      app, "--regional", into.regional,
      "order of a polynomial under the data, solved for\nwith the model: 0, 1, 2",
      [](i4 n) { return 0 <= n && n <= 2; }, "0, 1 or 2");
  add_number(
      app, "--robust", into.robust,
      "residual, in standard deviations, beyond which a\ndatum pulls no harder: 1.5, say",
      [](r8 v) { return 0 < v && v <= 1e30; }, "a number above 0");
}

void add_norm(CLI::App& app, command_line& into) {
  const std::map<std::string, weighting> kinds{
      {"sensitivity", weighting::sensitivity}, {"depth", weighting::depth}, {"none", weighting::none}};
  app.add_option("--weighting", into.kind, "weights of the model norm: sensitivity (default),\ndepth or none")
      ->transform(CLI::Transformer(kinds).description(""))
      ->option_text("KIND");
  app.add_option("--lengths", into.lengths,
                 "lengths of smoothing along x, y, z in metres;\ndefault the smallest cells")
      ->delimiter(',')
      ->check(allowed(as_number<r8>([](r8 v) { return 0 <= v && v <= 1e30; }), "a number from 0"))
      ->option_text("X,Y,Z");
}

void add_end(CLI::App& app, command_line& into) {
  app.add_option_function<std::string>(
         "--target",
         [&into](const std::string& word) {
           into.target.reset();
           if (r8 value = 0; CLI::detail::lexical_cast(word, value)) into.target = value;
         },
         "misfit to reach, 1 being the noise; or corner, that of\nthe trade-off curve; default 1")
      ->check(allowed(
          [](const std::string& word) {
            return word == "corner" || as_number<r8>([](r8 v) { return 0 < v && v <= 1e30; })(word);
          },
          "a number above 0, or corner"))
      ->option_text("NUMBER");
  add_number(
      app, "--iterations", into.iterations, "dampings to try at most; default 30",
      [](i4 n) { return 1 <= n && n <= 999; },  // the numbers of the files have three digits
      "a whole number from 1 to 999");
  add_number(
      app, "--tolerance", into.tolerance, "how exactly the minimum is found; default 0.02",
      [](r8 v) { return 0 < v && v < 1; }, "a number between 0 and 1");
  app.add_flag("--resume", into.resume, "go on from BASE.state, where there is one");
}

}  // namespace

std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into) {
  CLI::App app(what_it_does, "recover");
  app.footer(outcome);
  app.failure_message(words_of_error);
  add_files(app, into);
  add_cells(app, into);
  add_data(app, into);
  add_norm(app, into);
  add_end(app, into);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    return app.exit(end);
  }
  return std::nullopt;
}

}  // namespace recover
