/// The Fortran run-time as judge of whole files: arrays with repeats and nulls, and numbered files of predicted data.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "files/active_cells.h"
#include "files/model_file.h"
#include "files/predicted_data.h"
#include "tests/files/judge.h"
#include "tests/files/random_lines.h"
#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::hexadecimal;
using test::lines_of;
using test::outcome;
using test::outcome_of;

// --- arrays --------------------------------------------------------------------------------------------------------

/// The judge's word for the outcome of a read. A value outside -1..1 is found behind the read, which was well.
std::string judged_outcome(const outcome& o) {
  if (o.console.starts_with("\nERROR: end reached reading ")) return "end";
  if (o.console.starts_with("\nERROR reading ")) return "bad";
  if (o.console.starts_with("\nERROR: too many values in ")) return "many";
  if (o.console.starts_with("\nERROR: values in the active cell file ")) return "ok";
  return o.end == stop_or_done{} ? "ok" : "unknown";
}

/// An array of 2 x 3 x 2 elements, read from a file that the judge reads too.
template <class number>
std::string our_answer(const std::function<void(array3<number>)>& read, std::string (*shown)(number)) {
  owned_array3<number> array(2, 3, 2);
  std::fill(array.begin(), array.end(), number{-77});
  std::string answer = judged_outcome(outcome_of([&] { read(array); }));
  if (answer == "ok" || answer == "many")
    for (const number x : array) answer += ' ' + shown(x);
  return answer;
}

std::string our_answer(int kind, const std::string& name) {
  if (kind == 1)
    return our_answer<r8>([&](array3<r8> cube) { read_cube(name, "cube", cube, {}, {}); }, hexadecimal);
  return our_answer<i4>([&](array3<i4> act) { read_active_file(name, act); }, std::to_string);
}

/// What a judge's answer begins with, to show that all outcomes were met.
void count_outcomes(std::map<std::string, int>& count, int kind, const std::string& answer) {
  ++count[(kind == 1 ? "cube " : "active ") + answer.substr(0, answer.find(' '))];
}

TEST(Judge, FortranRunTimeReadsFilesOfOneArrayAsWeDo) {
  constexpr unsigned seed = 90210;
  constexpr int cases = 800;
  test::random_lines random(seed);
  const test::temporary_folder folder;
  std::string list;
  std::vector<std::string> texts, ours;
  std::map<std::string, int> count;
  while (texts.size() < cases) {
    const int kind = 1 + static_cast<int>(random.below(2)), words = 5 + static_cast<int>(random.below(12));
    const std::string text = (kind == 1 ? random.text(words) : random.activities(words)) + '\n';
    if (test::line_begins_with_separator(text)) continue;
    const std::string name = "case" + std::to_string(texts.size());
    ours.push_back(our_answer(kind, folder.write(name, text)));
    count_outcomes(count, kind, ours.back());
    list += std::to_string(kind) + " '" + name + "'\n";
    texts.push_back("kind " + std::to_string(kind) + ":\n" + text);
  }
  folder.write("cases", list);
  const auto judged = lines_of(test::output_of(JUDGE_ARRAY_FILES " " + folder.path()));
  ASSERT_EQ(judged.size(), ours.size());
  for (std::size_t c = 0; c < cases; ++c) EXPECT_EQ(ours[c], judged[c]) << texts[c] << "seed " << seed;
  for (const std::string kind : {"cube ", "active "})
    for (const std::string what : {"ok", "end", "bad", "many"})
      EXPECT_GT(count[kind + what], 10) << kind << what;
}

// --- predicted data --------------------------------------------------------------------------------------------------

struct numbered_file {
  std::string base, extension;
  i4 iteration;
};

/// A survey of some data with values of all sizes. None shows as zero with a sign, which the judge keeps.
void set_survey(std::mt19937_64& random, i4 idir, std::vector<r8>& d) {
  std::normal_distribution<r8> values(0, 100);
  reset_state();
  for (r8* x : {&survey.incl, &survey.decl, &survey.geomag, &survey.aincl, &survey.adecl})
    *x = values(random) + 0.25;
  survey.idir = idir;
  survey.ndata = static_cast<i4>(1 + random() % 5);
  d.clear();
  for (owned_array1<r8>* x :
       {&survey.xobs, &survey.yobs, &survey.zobs, &survey.aincl_obs, &survey.adecl_obs, &survey.derr}) {
    *x = owned_array1<r8>(survey.ndata);
    for (r8& value : *x) value = std::ldexp(values(random), static_cast<int>(random() % 40) - 20);
  }
  for (i4 i = 1; i <= survey.ndata; ++i) d.push_back(values(random));
}

/// What the judge reads on its standard input.
std::string question(const numbered_file& file, const std::vector<r8>& d) {
  std::string text = file.base + '\n' + file.extension + '\n';
  for (const i4 n : {file.iteration, survey.idir, survey.ndata}) text += std::to_string(n) + '\n';
  for (const r8 x : {survey.incl, survey.decl, survey.geomag, survey.aincl, survey.adecl})
    text += hexadecimal(x) + '\n';
  for (i4 i = 1; i <= survey.ndata; ++i)
    for (const r8 x : {survey.xobs(i), survey.yobs(i), survey.zobs(i), survey.aincl_obs(i),
                       survey.adecl_obs(i), d[static_cast<std::size_t>(i - 1)], survey.derr(i)})
      text += hexadecimal(x) + '\n';
  return text;
}

/// All files of a folder, by name, with their texts.
std::map<std::string, std::string> files_of(const test::temporary_folder& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    files[name] = folder.read(name);
  }
  return files;
}

void compare_with_judge(const numbered_file& file, const std::vector<r8>& d) {
  const test::temporary_folder ours, theirs, questions;
  const std::string name = questions.write("question", question(file, d));
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(ours.path());
  const outcome o = outcome_of([&] { write_predicted_iter(file.base, file.extension, d, file.iteration); });
  std::filesystem::current_path(before);
  test::output_of("cd " + theirs.path() + " && " JUDGE_PREDICTED_FILE " < " + name);
  EXPECT_EQ(files_of(ours), files_of(theirs)) << file.base << ' ' << file.extension << ' ' << file.iteration;
  EXPECT_EQ(o.end.kind, files_of(theirs).empty() ? stop_or_done::failed : stop_or_done::done);
}

TEST(Judge, FortranRunTimeWritesNumberedFilesOfPredictedDataAsWeDo) {
  std::mt19937_64 random(1604);
  const std::vector<numbered_file> files{{"inv", "pre", 7},
                                         {"inv  ", "pre   ", 0},
                                         {"a b", "c d", 99},
                                         {" inv", " pre", 999},
                                         {"inv", "pre", 1000},
                                         {"inv", "pre", 2147483647},
                                         {"inv", "pre", -1},
                                         {"inv", "pre", -10},
                                         {"inv", "pre", -2147483647 - 1},
                                         {"inv", "", 12},
                                         {"", "pre", 12},
                                         {std::string(22, 'x'), "pre", 3},
                                         {std::string(23, 'x'), "pre", 3},
                                         {std::string(22, 'x'), "pred", 3},
                                         {std::string(22, 'x') + "   ", "pre ", 3},
                                         {"x", std::string(60, 'y'), 3}};
  std::vector<r8> d;
  for (const numbered_file& file : files)
    for (const i4 idir : {0, 1}) {
      set_survey(random, idir, d);
      compare_with_judge(file, d);
    }
}

}  // namespace
}  // namespace velko
