/// recover: a model of susceptibility from observed data, through the installed library.
///
/// Exit status  0 when the misfit has reached its target, another one otherwise
/// Streams      reports and the table go to the standard output and to BASE.log, the text of a stop to the standard
///              error stream
#include <velko/reports/channel.h>
#include <velko/reports/program_stop.h>
#include <velko/reports/reports.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "recover/command_line.h"
#include "recover/recovery.h"

namespace {

struct file_closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

open_file open_log(const std::string& name) {
  open_file file(std::fopen(name.c_str(), "w"));
  if (!file) throw std::system_error(errno, std::generic_category(), name);
  velko::log_file().send_to(file.get());
  return file;
}

}  // namespace

int main(int argc, char** argv) {
  recover::command_line options;
  if (const std::optional<int> status = recover::parse_command_line(argc, argv, options)) return *status;
  open_file log;
  const velko::stop_or_done end = velko::run_until_stop([&] {
    velko::print_banner("RECOVER");
    log = open_log(options.base_name + ".log");
    velko::print_time_stamp("recover", velko::log_file());
    recover::recover_model(options);
  });
  velko::log_file().close();
  velko::write_end(end);
  return end.kind == velko::stop_or_done::done ? 0 : 1;
}
