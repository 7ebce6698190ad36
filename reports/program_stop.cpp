#include "reports/program_stop.h"

#include <cstdio>
#include <exception>
#include <new>

#include "arrays/memory.h"
#include "reports/channel.h"

namespace velko {

namespace {

struct program_stop {
  std::string text;
};

}  // namespace

void stop_program(std::string_view text) {
  throw program_stop{std::string(text)};
}

stop_or_done run_until_stop(const std::function<void()>& body) {
  try {
    body();
    return {};
  } catch (const program_stop& stop) {
    return {stop_or_done::stopped, stop.text};
  } catch (const memory_refused& failure) {
    return {stop_or_done::failed, std::string("velko: ") + failure.what()};
  } catch (const std::bad_alloc&) {
    return {stop_or_done::failed, "velko: out of memory"};
  } catch (const std::exception& failure) {
    return {stop_or_done::failed, std::string("velko: ") + failure.what()};
  }
}

void write_end(const stop_or_done& end) {
  const stop_or_done flushed = run_until_stop([] { console().flush(); });
  for (const stop_or_done& e : {end, flushed})
    if (!e.text.empty()) std::fprintf(stderr, "%s\n", e.text.c_str());
}

}  // namespace velko
