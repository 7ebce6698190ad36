#include "arrays/memory_limit.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

constexpr i8 none = std::numeric_limits<i8>::max();

/// The files of a machine in which this process is in some control group.
class ControlGroups : public ::testing::Test {
 protected:
  void file(const std::string& name, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(machine_.path(name)).parent_path());
    machine_.write(name, text);
  }
  void second_version(const std::string& own, const std::string& seen_as_root = "/") {
    file("proc/self/cgroup", "0::" + own + "\n");
    file("proc/self/mountinfo", "30 23 0:26 " + seen_as_root +
                                    " /sys/fs/cgroup rw,nosuid shared:9 - cgroup2 cgroup2 rw,nsdelegate\n"
                                    "31 23 0:27 / /tmp rw - tmpfs tmpfs rw\n");
  }
  void first_version(const std::string& own) {
    file("proc/self/cgroup", "5:cpu,cpuacct:/elsewhere\n4:memory:" + own + "\n0::/\n");
    file("proc/self/mountinfo",
         "35 31 0:32 / /sys/fs/cgroup/memory rw,relatime - cgroup cgroup rw,memory\n"
         "36 31 0:33 / /sys/fs/cgroup/cpu rw,relatime - cgroup cgroup rw,cpu,cpuacct\n");
  }
  i8 limit() const { return control_group_limit(machine_.path()); }

  test::temporary_folder machine_;
};

TEST_F(ControlGroups, MachineWithoutThemSetsNoLimit) {
  EXPECT_EQ(limit(), none);
}

TEST_F(ControlGroups, LimitOfTheOwnGroupCounts) {
  second_version("/user/job");
  file("sys/fs/cgroup/user/job/memory.max", "104857600\n");
  EXPECT_EQ(limit(), 104857600);
}

TEST_F(ControlGroups, LeastLimitOfAllGroupsAroundCounts) {
  second_version("/user/slice/job");
  file("sys/fs/cgroup/user/slice/job/memory.max", "max\n");
  file("sys/fs/cgroup/user/slice/memory.max", "300\n");
  file("sys/fs/cgroup/user/memory.max", "200\n");
  EXPECT_EQ(limit(), 200);
  file("sys/fs/cgroup/memory.max", "100\n");
  EXPECT_EQ(limit(), 100);
}

TEST_F(ControlGroups, ContainerThatSeesItsOwnGroupAsRootFindsItsLimit) {
  second_version("/docker/4711", "/docker/4711");
  file("sys/fs/cgroup/memory.max", "500\n");
  EXPECT_EQ(limit(), 500);
}

TEST_F(ControlGroups, GroupOutsideTheMountedOnesLeavesThoseThatAreSeen) {
  second_version("/../other", "/docker/4711");
  file("sys/fs/cgroup/memory.max", "600\n");
  EXPECT_EQ(limit(), 600);
}

TEST_F(ControlGroups, FirstVersionIsReadFromItsOwnFiles) {
  first_version("/batch/7");
  file("sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");
  file("sys/fs/cgroup/memory/batch/memory.limit_in_bytes", "4096000\n");
  file("sys/fs/cgroup/memory/batch/7/memory.limit_in_bytes", "8192000\n");
  EXPECT_EQ(limit(), 4096000);
}

TEST_F(ControlGroups, FilesThatAreNoSuchFilesSetNoLimit) {
  file("proc/self/cgroup", "no colons\n:\n0::no slash\n");
  file("proc/self/mountinfo", "short\n1 2 3 4 5 - cgroup2\n1 2 3 / /sys/fs/cgroup - cgroup2 cgroup2 rw\n");
  EXPECT_EQ(limit(), none);
}

TEST(MemoryLimit, LimitsOfTheProcessCount) {
  for (const int resource : {RLIMIT_AS, RLIMIT_DATA}) {
    rlimit before{};
    ASSERT_EQ(getrlimit(resource, &before), 0);
    const i8 at_first = memory_limit();  // the rest is looked at once, before anything is refused
    const rlimit less{static_cast<rlim_t>(at_first - 1), before.rlim_max};
    ASSERT_EQ(setrlimit(resource, &less), 0);
    const i8 limited = memory_limit();
    setrlimit(resource, &before);
    EXPECT_EQ(limited, at_first - 1);
    EXPECT_EQ(memory_limit(), at_first);
  }
}

TEST(MemoryLimit, IsNotAboveTheMachine) {
  EXPECT_GT(memory_limit(), 0);
  EXPECT_LE(memory_limit(), machine_memory());
}

}  // namespace
}  // namespace velko
