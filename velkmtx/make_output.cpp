#include "velkmtx/make_output.h"

#include <fmt/format.h>

#include <cstdio>
#include <functional>

#include "builder/growing_file.h"
#include "builder/run_notes.h"
#include "files/output_file.h"
#include "store/state.h"
#include "velkmtx/options.h"
#include "velkmtx/progress.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

/// Has `file` filled, through `out`, and given its name.
template <class file_type>
written_file fill(file_type& file, const make_options& options, const matrix_form& form,
                  const survey_rows& range, const interruption& signals, run_notes* notes) {
  progress_line progress(range.count(), options.quiet);
  record_writer out(file);
  const auto row_is_written = [&](i4 done) {
    signals.look();
    progress.show(done);
  };
  const row_statistics rows =
      write_sensitivity(out, mesh, survey, form, range, row_is_written, options.rows_to_verify, notes);
  return {rows, static_cast<r8>(out.position())};
}

/// What a run before that was killed has left stays, and what this one leaves when it is killed.
int write_on(const make_options& options,
             const std::function<void(growing_file&, const interruption&)>& write) {
  const interruption signals;
  growing_file file(options.output_file);
  try {
    write(file, signals);
    signals.look();
  } catch (const interrupted& end) {
    warn(fmt::format("interrupted; {} is as it was, and the same command goes on where this run stood",
                     options.output_file));
    return 128 + end.signal;  // as shells tell a signal
  }
  file.finish();
  return 0;
}

}  // namespace

int write_file_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                  written_file& written) {
  if (!options.resume)
    return write_whole_file(options.output_file, [&](output_file& file, const interruption& signals) {
      written = fill(file, options, form, range, signals, nullptr);
    });
  const std::string notes_file = options.output_file + ".notes";
  const int status = write_on(options, [&](growing_file& file, const interruption& signals) {
    run_notes notes(file, notes_file, options.note_every);
    written = fill(file, options, form, range, signals, &notes);
  });
  if (status == 0) std::remove(notes_file.c_str());
  return status;
}

}  // namespace velko
