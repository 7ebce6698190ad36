/// How a body ended, together with all that it said: what a caller needs who has neither console nor log.
///
/// What     run_and_tell is run_until_stop with both channels captured; they are silent meanwhile, or speak as ever
/// See      library/call.h, which makes an exception of it
#pragma once

#include <functional>
#include <string>

#include "reports/channel.h"
#include "reports/program_stop.h"

namespace velko {

struct told_end {
  stop_or_done end;
  std::string console, log;  // what was written there

  /// In one line: the text of the stop, or where it has none the last report on the console, which told the reason.
  std::string reason() const;
};

told_end run_and_tell(const std::function<void()>& body, capture::what_then words = capture::kept);

}  // namespace velko
