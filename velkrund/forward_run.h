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

}  // namespace velko
