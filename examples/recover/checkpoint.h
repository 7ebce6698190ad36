/// Checkpoint: what a run leaves after each damping, so that one that was interrupted goes on from there.
///
/// Form     text: a line that names the problem, a line for each point of the trade-off curve, the model; numbers with as
///          many digits as bring them back. It is replaced as a whole, so that a kill leaves the last one or this one
/// Errors   a file of another problem (number of data, of cells, or other options) is refused
#pragma once

#include <optional>
#include <string>

#include "recover/trade_off.h"
#include "recover/vectors.h"

namespace recover {

struct checkpoint {
  std::vector<trade_off_point> curve;
  values model;  // (ncell)
};

void write_checkpoint(const std::string& name, const std::string& problem, const checkpoint& at);

/// Nothing where no such file is.
std::optional<checkpoint> read_checkpoint(const std::string& name, const std::string& problem);

}  // namespace recover
