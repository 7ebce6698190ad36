#include "velkmtx/make_options.h"

#include <algorithm>
#include <string_view>

#include "builder/daubechies.h"
#include "text/number_text.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh below terrain.topo:\n\n"
    "  velkmtx make survey.mesh terrain.topo survey.loc survey.mtx\n\n"
    "Rows are in nT for a cell of unit susceptibility (SI). A datum inside of a cell has the flux density "
    "there.\n\n"
    "How much a row may lose: without options, as much as leaves the data of each of a few trial models\n"
    "(uniform ground, hills, blocks at three depths, a dyke, smooth ground) within 1 % of themselves, "
    "judged\n"
    "by rows spread over the survey. --tolerance sets the part of its norm that a row may lose. --accuracy "
    "X\n"
    "makes every row so that no predicted datum is off by more than X nT for any model whose values are at\n"
    "most --largest: that is proven for each row, and takes many more coefficients.\n\n"
    "Weights: the file holds G with each column divided by the weight of its cell, and velkrund multiplies "
    "the\n"
    "model by the weights, so predicted data do not depend on them. They decide which cells a compressed "
    "row\n"
    "keeps best, and what an inversion makes of G:\n\n"
    "  volume        w = sqrt(V / Vmin), V the volume of a cell: rows of a padded mesh compress best\n"
    "  depth         w = ((z + z0) / (zmin + z0))^(-beta / 2), z the depth of its centre below the surface\n"
    "                of its column and zmin the least of them (Y. Li and D. W. Oldenburg, Geophysics 61\n"
    "                (1996) 394-408, doi 10.1190/1.1443968)\n"
    "  depth-volume  the product of both, for inversions on a padded mesh";

void add_files(CLI::App& app, make_options& into) {
  add_file(app, "MESH", into.mesh_file, "mesh file: counts, origin, widths along x, y, z");
  add_file(app, "TOPOGRAPHY", into.topography_file,
           "topography file: points of the surface; or null, for a flat surface at the top of the mesh");
  add_file(app, "LOCATIONS", into.location_file,
           "location file: field, direction, number of data, positions");
  add_file(app, "OUTPUT", into.output_file, "sensitivity file to write; replaced when it is whole");
}

void add_form(CLI::App& app, make_options& into) {
  const auto is_part = [](r8 part) { return 0.0 <= part && part <= 1.0; };  // false for a NaN
  const auto is_positive = [](r8 x) { return 0.0 < x && x < 1e300; };
  const auto is_wavelet = [](const std::string& name) {
    return std::find(wavelet_names.begin(), wavelet_names.end(), name) != wavelet_names.end();
  };
  CLI::Option* wavelet =
      app.add_option(
             "--wavelet", into.wavelet,
             "haar, or Daubechies with 4 to 12 coefficients: d4, d6, d8, d10, d12,\nor their most symmetric "
             "kin, the symlets: s8, s10, s12; default d4")
          ->check(allowed<std::string>(is_wavelet, "one of haar, d4, d6, d8, d10, d12, s8, s10, s12"))
          ->option_text("NAME");
  CLI::Option* tolerance =
      app.add_option(
             "--tolerance", into.tolerance,
             "what a row may lose, relative to its norm:\nfrom 0, for nothing, to 1; default as much as "
             "leaves the\ndata of trial models within 1 % (below)")
          ->check(allowed<r8>(is_part, "a number from 0 to 1"))
          ->option_text("NUMBER");
  CLI::Option* accuracy =
      app.add_option("--accuracy", into.accuracy,
                     "in nT: no predicted datum is off by more, for any\nmodel up to the largest value")
          ->check(allowed<r8>(is_positive, "a positive number"))
          ->excludes(tolerance)
          ->option_text("NUMBER");
  app.add_option("--largest", into.largest,
                 "value (SI) of the models that the accuracy holds for;\ndefault 0.1")
      ->check(allowed<r8>(is_positive, "a positive number"))
      ->option_text("NUMBER");
  app.add_flag("--dense", into.dense, "write every value of G, without compression;\nnone of those above")
      ->excludes(wavelet)
      ->excludes(tolerance)
      ->excludes(accuracy)
      ->option_text(" ");
}

void add_weights(CLI::App& app, make_options& into) {
  const auto is_length = [](r8 z) { return 0.0 <= z && z < 1e300; };
  const auto is_exponent = [](r8 beta) { return 0.0 <= beta && beta <= 10.0; };
  const auto is_kind = [](const std::string& name) {
    return std::ranges::find(weighting_names, name) != weighting_names.end();
  };
  const auto take_kind = [&into](const std::string& name) {
    into.weights =
        static_cast<weighting::kind_t>(std::ranges::find(weighting_names, name) - weighting_names.begin());
  };
  CLI::Option* kind = app.add_option_function<std::string>(
                             "--weights", take_kind,
                             "of the cells: none, depth, volume or depth-volume (below);\ndefault "
                             "volume where the mesh is padded, else none")
                          ->check(allowed<std::string>(is_kind, "none, depth, volume or depth-volume"))
                          ->option_text("KIND");
  app.add_option("--beta", into.beta, "of the depth weights, from 0 to 10; default 3")
      ->check(allowed<r8>(is_exponent, "a number from 0 to 10"))
      ->needs(kind)
      ->option_text("NUMBER");
  app.add_option(
         "--z0", into.z0,
         "of the depth weights, in the unit of the mesh;\ndefault the mean height of the data above the "
         "surface,\nor half the height of the topmost cell, if that is more")
      ->check(allowed<r8>(is_length, "a number of at least 0"))
      ->needs(kind)
      ->option_text("NUMBER");
}

/// "1:5000"
survey_rows rows_named(const std::string& text) {
  const std::size_t colon = text.find(':');
  survey_rows rows;
  const bool good = colon != text.npos && is_number(std::string_view(text).substr(0, colon), rows.first) &&
                    is_number(std::string_view(text).substr(colon + 1), rows.last) && rows.first >= 1 &&
                    rows.last >= rows.first;
  if (!good) throw CLI::ValidationError("--rows", "'" + text + "' is not FIRST:LAST, as in 1:5000");
  return rows;
}

void add_run(CLI::App& app, make_options& into) {
  const auto is_count = [](int n) { return n >= 1 && n <= 1024; };
  app.add_option_function<std::string>(
         "--rows", [&into](const std::string& text) { into.rows = rows_named(text); },
         "make a part: the rows of these data alone, counted from 1;\nvelkmtx join makes one file of parts")
      ->option_text("FIRST:LAST");
  CLI::Option* resume = app.add_flag("--resume", into.resume,
                                     "keep the rows in OUTPUT.unfinished as they come, and in\nOUTPUT.notes "
                                     "how far they are; if such a run "
                                     "was killed,\ngo on with what it left")
                            ->option_text(" ");
  app.add_option("--note-every", into.note_every, "seconds between two notes at the least; default 10")
      ->check(allowed<r8>([](r8 s) { return 0.0 <= s && s < 1e6; }, "a number of at least 0"))
      ->needs(resume)
      ->option_text("NUMBER");
  app.add_flag("--allow-buried", into.allow_buried,
               "take stations in or on a cell below the surface;\nthey are an error otherwise")
      ->option_text(" ");
  app.add_option("--threads", into.threads,
                 "threads to work on, 1 to 1024;\ndefault OMP_NUM_THREADS, or else all processors")
      ->check(allowed<int>(is_count, "a whole number from 1 to 1024"))
      ->option_text("NUMBER");
  app.add_flag("--dry-run", into.dry_run,
               "tell size, memory and time, judged by a few rows, and write nothing")
      ->option_text(" ");
  app.add_option("--verify", into.rows_to_verify,
                 "compare so many rows, as they are written, with exact ones")
      ->check(allowed<int>([](int n) { return n >= 1; }, "a whole number of at least 1"))
      ->option_text("NUMBER");
  app.add_flag("--quiet", into.quiet, "neither progress nor summary")->option_text(" ");
}

}  // namespace

void add_options(CLI::App& make, make_options& into) {
  make.footer(example);
  add_files(make, into);
  add_form(make, into);
  add_weights(make, into);
  add_run(make, into);
}

}  // namespace velko
