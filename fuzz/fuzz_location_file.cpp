/// The data file, as locations and as observations. What is read has to fit together, and to be written
/// without a stop.
#include "files/data_file.h"
#include "files/predicted_data.h"
#include "fuzz/fuzz_input.h"

namespace {

using namespace velko;
using fuzz::expect;

void check_survey(bool read_values) {
  expect(survey.idir == 0 || survey.idir == 1);
  expect(survey.ndata >= 1 && survey.xobs.size() == survey.ndata && survey.zobs.size() == survey.ndata);
  expect(survey.aincl_obs.size() == (survey.idir == 0 ? survey.ndata : 0));
  expect(survey.dobs.size() == (read_values ? survey.ndata : 0));
  for (const r8 std : survey.derr) expect(!(0 >= std));
}

void read_and_write(const std::string& name, bool read_values) {
  if (!fuzz::comes_back([&] { read_data_file(name, read_values); })) return;
  check_survey(read_values);
  expect(fuzz::comes_back([&] { write_predicted_data("/dev/null", survey.zobs.elements()); }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  const fuzz::named_bytes file(fuzz::input(bytes, n).rest());
  reset_state();
  read_and_write(file.name(), false);
  const i4 ndata = survey.ndata;
  reset_state();
  store.ndata_mtx = ndata;
  read_and_write(file.name(), true);
  return 0;
}
