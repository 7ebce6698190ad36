/// Random text for readers of lists: mostly well formed, with every separator and every oddity thrown in.
#pragma once

#include <initializer_list>
#include <random>
#include <string>

namespace velko::test {

class random_lines {
 public:
  explicit random_lines(unsigned seed) : random_(seed) {}

  std::string text(int words) {
    std::string text;
    for (int n = 0; n < words; ++n) text += word() + separator();
    return text;
  }

  /// The same for lists of active cells.
  std::string activities(int words) {
    std::string text;
    for (int n = 0; n < words; ++n) text += activity() + separator();
    return text;
  }

  std::size_t below(std::size_t n) { return random_() % n; }

 private:
  std::string one_of(std::initializer_list<const char*> choices) {
    return choices.begin()[below(choices.size())];
  }
  std::string digits() { return std::to_string(random_() % 1000); }

  std::string number() {
    std::string text = one_of({"", "", "", "-", "+"});
    switch (below(8)) {
      case 0:
        text += digits() + ".";
        break;
      case 1:
        text += "." + digits();
        break;
      case 2:
      case 3:
        text += digits() + "." + digits();
        break;
      default:
        return text + digits();
    }
    return below(3) == 0 ? text + one_of({"e", "E", "d", "D", "e+", "E-", "d+", "D-", "+", "-"}) +
                               one_of({"0", "5", "12"})
                         : text;
  }

  std::string word() {
    switch (below(24)) {
      case 0:
        return one_of({"1", "2", "3", "12"}) + std::string("*") + number();
      case 1:
        return one_of({"2*", "1*", "3*"});
      case 2:
        return "/";
      case 3:
        return one_of({"abc", "!", "1.5x", "--2", "1e", "nan", "inf", "-Infinity", "0*1", "*", "1*!", "3 *4",
                       "2*3*4", "5!"});
      case 4:
        return "";
      default:
        return number();
    }
  }

  std::string activity() {
    switch (below(20)) {
      case 0:
      case 1:
        return one_of({"1", "2", "3", "12"}) + std::string("*") + one_of({"1", "0", "-1", "+1"});
      case 2:
        return one_of({"2*", "1*", "3*", "/", "", "2"});
      case 3:
        return below(4) > 0 ? "1" : one_of({"x", "1.0", "1e0", "2*x", "!", "0*1", "1 !", "9999999999"});
      default:
        return one_of({"1", "1", "0", "0", "-1", "+1", "01", "-0"});
    }
  }

  std::string separator() {
    return one_of(
        {" ", " ", " ", "  ", "\t", ",", " , ", ",", ",,", "\n", "\n", "\r\n", " \n \n", ",\n", "\n,", "/"});
  }

  std::mt19937_64 random_;
};

}  // namespace velko::test
