#include "reports/program_stop.h"

#include <cstdio>
#include <exception>
#include <new>

#include "arrays/memory.h"
#include "reports/channel.h"

namespace velko {

namespace {

struct program_stop {
  stop_or_done end;
};

}  // namespace

void stop_program(std::string_view text) {
  end_as({stop_or_done::stopped, std::string(text)});
}

void end_as(const stop_or_done& end) {
  throw program_stop{end};
}

stop_or_done run_until_stop(const std::function<void()>& body) {
  try {
    body();
    return {};
  } catch (const program_stop& stop) {
    return stop.end;
  } catch (const memory_refused& failure) {
    return {stop_or_done::failed, std::string("velko: ") + failure.what()};
  } catch (const std::bad_alloc&) {
    return {stop_or_done::failed, "velko: out of memory"};
  } catch (const std::exception& failure) {
    return {stop_or_done::failed, std::string("velko: ") + failure.what()};
  }
}

void write_end(const stop_or_done& end) {
  console().flush();
  if (!end.text.empty()) std::fprintf(stderr, "%s\n", end.text.c_str());
  if (!console().failure().empty()) std::fprintf(stderr, "velko: %s\n", console().failure().c_str());
}

}  // namespace velko
