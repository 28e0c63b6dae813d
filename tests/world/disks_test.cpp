// phoned ends on disks on which it cannot clean up: it prints its farewell anyway, and what it leaves behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "namespaces.h"
#include "phoned.h"

namespace {

using support::TemporaryDirectory;
using world::MemoryDisk;
using world::Namespaces;
using world::Phoned;

class DisksTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!mounts_.are_ours()) {
      GTEST_SKIP() << Namespaces::kNotPermitted;
    }
    disk_ = std::make_unique<MemoryDisk>(directory_.path(), "64k");
    ASSERT_TRUE(disk_->is_there());
    phoned_ = std::make_unique<Phoned>(Phoned::Start{.run_dir = directory_.path()});
    ASSERT_TRUE(phoned_->is_up());
    // Once it answers, all its files are there.
    world::expect_prompt_answers(*phoned_, 1);
  }

  // Returns the exit status.
  int end_phoned() {
    world::expect_prompt_answers(*phoned_, 3);
    phoned_->signal(SIGTERM);
    EXPECT_TRUE(phoned_->ends_within(std::chrono::seconds(5)));
    EXPECT_NE(phoned_->program().out().find("phoned: farewell\n"), std::string::npos);
    return phoned_->exit_status();
  }

  std::string complaints() const { return phoned_->program().err(); }

  TemporaryDirectory directory_;
  Namespaces mounts_{Namespaces::Kind::kMounts};
  std::unique_ptr<MemoryDisk> disk_;
  std::unique_ptr<Phoned> phoned_;
};

TEST_F(DisksTest, ReportsFilesLeftOnAReadOnlyDisk) {
  ASSERT_TRUE(disk_->make_read_only());
  EXPECT_EQ(end_phoned(), 1);
  EXPECT_NE(complaints().find(phoned_->pid_file()), std::string::npos) << complaints();
  EXPECT_NE(complaints().find(phoned_->console()), std::string::npos) << complaints();
}

TEST_F(DisksTest, RemovesItsFilesFromAFullDisk) {
  disk_->fill();
  EXPECT_EQ(end_phoned(), 0);
  EXPECT_FALSE(std::filesystem::exists(phoned_->pid_file()));
  EXPECT_FALSE(std::filesystem::exists(phoned_->console()));
}

TEST_F(DisksTest, ReportsAMissingConsoleSocket) {
  std::filesystem::remove(phoned_->console());
  EXPECT_EQ(end_phoned(), 1);
  EXPECT_NE(complaints().find(phoned_->console()), std::string::npos) << complaints();
  EXPECT_FALSE(std::filesystem::exists(phoned_->pid_file()));
}

TEST_F(DisksTest, EndsEvenIfItsFilesAreMissing) {
  std::filesystem::remove(phoned_->console());
  std::filesystem::remove(phoned_->pid_file());
  end_phoned();
}

}  // namespace
