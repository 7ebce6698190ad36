#include "arrays/memory_limit.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>
#include <vector>

namespace velko {

namespace {

constexpr i8 no_limit = std::numeric_limits<i8>::max();

/// The two versions of control groups, and the file in which each keeps the limit of a group.
enum class version { first, second };

const char* limit_file(version v) {
  return v == version::first ? "/memory.limit_in_bytes" : "/memory.max";
}

/// A file with the word "max", or without a number, sets no limit.
i8 limit_in(const std::string& file) {
  i8 bytes = 0;
  return std::ifstream(file) >> bytes ? bytes : no_limit;
}

/// Where a hierarchy of groups is mounted, and which of its groups is seen there as "/".
struct mounted_groups {
  version v;
  std::string group, at;
};

std::vector<std::string> words_of(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

bool lists_memory(const std::string& controllers) {
  return ("," + controllers + ",").find(",memory,") != std::string::npos;
}

/// The hierarchies that count memory. A line is: id, parent, device, root, mount point, options, some optional
/// fields, a dash, type, source, options of the type.
std::vector<mounted_groups> mounted_hierarchies(const std::string& root) {
  std::vector<mounted_groups> found;
  std::ifstream in(root + "/proc/self/mountinfo");
  for (std::string line; std::getline(in, line);) {
    const std::vector<std::string> words = words_of(line);
    const auto dash = std::find(words.begin(), words.end(), "-");
    if (words.size() < 5 || words.end() - dash < 4) continue;
    const std::string& type = dash[1];
    if (type == "cgroup2") found.push_back({version::second, words[3], words[4]});
    if (type == "cgroup" && lists_memory(dash[3])) found.push_back({version::first, words[3], words[4]});
  }
  return found;
}

/// The group of this process. A line is: number, controllers, path, with colons between; the second version has no
/// controllers.
std::string own_group(version v, const std::string& root) {
  std::ifstream in(root + "/proc/self/cgroup");
  for (std::string line; std::getline(in, line);) {
    const std::size_t first = line.find(':'), second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    if (v == version::second ? controllers.empty() : lists_memory(controllers))
      return line.substr(second + 1);
  }
  return {};
}

/// The path of a group below the mount point. A container often sees its own group alone, as the root.
std::string path_below(const mounted_groups& groups, const std::string& group) {
  const std::string& top = groups.group;
  if (top == "/") return group;
  return group.starts_with(top + "/") ? group.substr(top.size()) : std::string();
}

/// The least limit of a group and of those around it, up to the mount point.
i8 least_limit(const std::string& mount_point, std::string path, version v) {
  i8 least = limit_in(mount_point + limit_file(v));
  for (; !path.empty() && path != "/"; path.resize(path.rfind('/')))
    least = std::min(least, limit_in(mount_point + path + limit_file(v)));
  return least;
}

i8 limit_of(int resource) {
  rlimit limit{};
  const bool unlimited = getrlimit(resource, &limit) != 0 || limit.rlim_cur > static_cast<rlim_t>(no_limit);
  return unlimited ? no_limit : static_cast<i8>(limit.rlim_cur);
}

}  // namespace

i8 machine_memory() {
  static const i8 bytes = i8{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
  return bytes;
}

i8 control_group_limit(const std::string& root) {
  i8 least = no_limit;
  for (const mounted_groups& groups : mounted_hierarchies(root)) {
    const std::string group = own_group(groups.v, root);
    if (group.starts_with('/'))
      least = std::min(least, least_limit(root + groups.at, path_below(groups, group), groups.v));
  }
  return least;
}

i8 memory_limit() {
  static const i8 of_the_machine = std::min(machine_memory(), control_group_limit());
  return std::min({of_the_machine, limit_of(RLIMIT_AS), limit_of(RLIMIT_DATA)});
}

}  // namespace velko
