/// velkmtx model: a model file from a few bodies.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "builder/input_checks.h"
#include "builder/text_diagnosis.h"
#include "design/bodies.h"
#include "design/model_sampling.h"
#include "design/text_writer.h"
#include "files/mesh_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

constexpr auto what_it_does = "writes a model file from a few bodies";

constexpr auto example =
    "\nExample: a sphere of radius 55 m and a dyke that strikes north and dips 60 degrees to the east:\n\n"
    "  velkmtx model survey.mesh survey.sus --background 0.0005 --body \"sphere 330 330 -90 55 0.08\"\n"
    "      --body \"dyke 150 230 -20 0 60 340 40 240 0.05\"\n\n"
    "A body is one of\n\n"
    "  block WEST EAST SOUTH NORTH BOTTOM TOP VALUE\n"
    "  sphere X Y ELEVATION RADIUS VALUE\n"
    "  dyke X Y ELEVATION STRIKE DIP LENGTH THICKNESS EXTENT VALUE\n\n"
    "Elevations count upward. A dyke hangs from the middle of its upper end: LENGTH along STRIKE, degrees\n"
    "clockwise from north (+y); EXTENT down the DIP, 0 to 90 degrees, to the right of the strike.\n"
    "Where bodies overlap the later one counts, and those of the command line stand behind the file's.\n"
    "A cell has the mean of the values at samples x samples x samples points in it.";

struct model_options {
  std::string mesh_file, output_file, body_file;
  std::vector<std::string> bodies;
  std::optional<r8> background;
  i4 samples = 4;
};

body_list bodies_of(const model_options& options) {
  body_list list;
  if (!options.body_file.empty()) add_body_file(options.body_file, list);
  for (const std::string& words : options.bodies) add_body(words, "--body", list);
  if (options.background) list.background = options.background;
  return list;
}

/// A body that no cell feels is a mistake in its coordinates, or smaller than the cells can show.
void check_shares(const std::vector<body>& bodies, const std::vector<body_share>& shares) {
  for (std::size_t n = 0; n < bodies.size(); ++n)
    if (shares[n].cells == 0)
      stop_program(
          fmt::format("velkmtx: '{}' holds no point of any cell: it lies outside of the mesh, or is "
                      "smaller than a cell; see --samples",
                      bodies[n].words));
}

void print_summary(const std::string& name, const std::vector<body>& bodies, const sampled_model& model) {
  const auto [least, most] = std::minmax_element(model.values.begin(), model.values.end());
  std::string lines =
      fmt::format("{}: {} values from {:.9g} to {:.9g}", name, model.values.size(), *least, *most);
  for (std::size_t n = 0; n < bodies.size(); ++n)
    lines += fmt::format("\n{}: {} {}, volume {:.4g}", bodies[n].words, model.shares[n].cells,
                         model.shares[n].cells == 1 ? "cell" : "cells", model.shares[n].volume);
  print_summary_of(name, lines);
}

int make_model_file(const model_options& options) {
  check_output_is_no_input(options.output_file, {options.mesh_file, options.body_file});
  read_or_explain([&] { read_mesh_file(options.mesh_file); },
                  [&] { return explain_mesh_file(options.mesh_file); });
  check_mesh(mesh);
  const body_list list = bodies_of(options);
  const sampled_model model =
      sample_bodies(mesh, list.bodies, list.background.value_or(0.0), options.samples);
  check_shares(list.bodies, model.shares);
  const int status = write_whole_file(options.output_file, [&](output_file& file, const interruption&) {
    write_model_file(file, model.values.elements());
  });
  if (status == 0) print_summary(options.output_file, list.bodies, model);
  return status;
}

}  // namespace

void add_model(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<model_options>();
  CLI::App& command = *app.add_subcommand("model", what_it_does);
  command.footer(example);
  add_file(command, "MESH", options->mesh_file, "mesh file: counts, origin, widths along x, y, z");
  add_file(command, "OUTPUT", options->output_file, "model file to write; replaced when it is whole");
  command.add_option("--body", options->bodies, "a body, in quotes; may stand any number of times")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->option_text("BODY");
  command.add_option("--bodies", options->body_file, "file with a body to a line; a '!' begins a comment")
      ->check(name_of_a_file())
      ->option_text("FILE");
  command.add_option("--background", options->background, "value around the bodies; default 0")
      ->check(allowed<r8>([](r8 v) { return std::isfinite(v); }, "a finite number"))
      ->option_text("NUMBER");
  command.add_option("--samples", options->samples, "points along each side of a cell, 1 to 64; default 4")
      ->check(allowed<i4>([](i4 n) { return 1 <= n && n <= 64; }, "a whole number from 1 to 64"))
      ->option_text("NUMBER");
  command.callback([=, &chosen] { chosen = [options] { return make_model_file(*options); }; });
}

}  // namespace velko
