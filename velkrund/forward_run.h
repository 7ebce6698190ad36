/// The forward run: from the command line to velkrund.vlk.
///
/// What     d = G m for a sensitivity file, the locations of its data, and a model, in a fixed order: banner,
///          arguments, sensitivity file, locations, active cells, model, product, predicted data
/// Result   velkrund.vlk in the current directory, written when the product is there, and whole or not at all where the
///          system lets us (files/output_file.h). Refused where that would overwrite the sensitivity file
/// Says     the banner; for a dense matrix a warning; everything else goes to the log, which nobody sees
/// Errors   usage line for a wrong number of arguments; number of data that differs between the two files; those of
///          the readers. Every end is a program stop (reports/program_stop.h)
#pragma once

#include <span>
#include <string_view>

namespace velko {

/// `arguments` are those of the command line behind the program's name.
void velkrund(std::span<const std::string_view> arguments);

// Its steps, for the run on many processes (mpi/forward_run_on_ranks.h). Between the first two G is loaded; before the last
// its product is formed.

struct run_files {
  std::string_view sensitivity, locations, model;
};

/// Banner, arguments, log.
run_files begin_run(std::span<const std::string_view> arguments);
/// The survey, which must have a datum for each row of G.
void read_locations(const run_files& files);
/// The active cells, room for run.amodel and run.dpred.
void prepare_vectors();
void read_weighted_model(const run_files& files);
void write_result();

}  // namespace velko
