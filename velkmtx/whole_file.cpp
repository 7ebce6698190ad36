#include "velkmtx/whole_file.h"

#include <fmt/format.h>

#include <stdexcept>

#include "velkmtx/options.h"

namespace velko {

int write_whole_file(const std::string& name,
                     const std::function<void(output_file&, const interruption&)>& write) {
  const interruption signals;
  output_file file(name);
  try {
    write(file, signals);
    signals.look();
  } catch (const interrupted& end) {
    warn(fmt::format("interrupted; {} is as it was", name));
    return 128 + end.signal;  // as shells tell a signal
  }
  file.keep();
  return 0;
}

void print_summary_of(const std::string& name, const std::string& lines) {
  try {
    print(lines);
  } catch (const std::runtime_error& refused) {
    warn(fmt::format("{} is written, but {}", name, refused.what()));
  }
}

}  // namespace velko
