/// The data file in both its forms, as locations and as observations: two readers, one rule. What is read has to be
/// written without a stop.
#include <array>
#include <vector>

#include "files/data_file.h"
#include "files/predicted_data.h"
#include "fuzz/fuzz_input.h"
#include "tests/support/slow_files.h"

namespace {

using namespace velko;
using fuzz::expect;

void expect_field(const std::vector<r8>& field) {
  const std::array<r8, 6> read{survey.incl,  survey.decl,  survey.geomag,
                               survey.aincl, survey.adecl, static_cast<r8>(survey.idir)};
  for (std::size_t k = 0; k < read.size(); ++k) expect(test::same_value(read[k], field[k]));
}

/// The columns of the survey in the order of a line: those that the form of the file does not have are empty.
void expect_data(const std::vector<std::vector<r8>>& data) {
  expect(survey.ndata == std::ssize(data));
  std::size_t column = 0;
  for (const owned_array1<r8>* x : {&survey.xobs, &survey.yobs, &survey.zobs, &survey.aincl_obs,
                                    &survey.adecl_obs, &survey.dobs, &survey.derr}) {
    if (x->size() == 0) continue;
    expect(x->size() == survey.ndata && column < data[0].size());
    for (i4 i = 1; i <= survey.ndata; ++i)
      expect(test::same_value((*x)(i), data[static_cast<std::size_t>(i - 1)][column]));
    ++column;
  }
  expect(column == data[0].size());
}

void read_and_write(const std::string& name, const std::string& text, bool is_short, bool read_values) {
  const auto expected = test::read_data_file_slowly(text, is_short, read_values);
  reset_state();
  if (expected) store.ndata_mtx = static_cast<i4>(expected->data.size());
  const auto& reader = is_short ? read_data_file_short : read_data_file;
  expect(fuzz::comes_back([&] { reader(name, read_values); }) == expected.has_value());
  if (!expected) return;
  expect_field(expected->field);
  expect_data(expected->data);
  if (is_short) survey.idir = 1;  // it is for its caller to set
  expect(fuzz::comes_back([&] { write_predicted_data("/dev/null", survey.zobs.elements()); }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  const std::string text(fuzz::input(bytes, n).rest());
  const fuzz::named_bytes file(text);
  for (const bool is_short : {false, true})
    for (const bool read_values : {false, true}) read_and_write(file.name(), text, is_short, read_values);
  return 0;
}
