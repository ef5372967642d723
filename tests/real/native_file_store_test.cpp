// The files of this machine: what stands in a file's place, who else may change it, and what another process locks.
#include "platform/native/files/native_file_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/native/files/file_locks.h"
#include "platform/replace_file.h"

namespace qlczephra::platform {
namespace {

namespace fs = std::filesystem;
using Kind = FileStatus::Kind;
using Locked = FileStore::Locked;
using testing::HasSubstr;

class NativeFileStoreTest : public testing::Test {
 protected:
  NativeFileStoreTest() {
    std::string name = (fs::temp_directory_path() / "qlczephra-files-XXXXXX").string();
    directory = ::mkdtemp(name.data());
    path = (directory / "patch-501.plist").string();
  }
  ~NativeFileStoreTest() override { fs::remove_all(directory); }

  void put(const std::string& content) const { std::ofstream(path) << content; }

  fs::path directory;
  std::string path;
  NativeFileStore files;
};

TEST_F(NativeFileStoreTest, WhatIsNoRegularFileIsMissingAndNotTouched) {
  const fs::path target = directory / "target";
  std::ofstream(target) << "content";
  const std::function<void()> cases[] = {
      [&] { fs::create_symlink(target, path); },
      [&] { fs::create_symlink("/dev/zero", path); },
      [&] { fs::create_symlink("missing", path); },
      [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); },  // opening it for reading would wait for a writer
      [&] { fs::create_directory(path); },
  };
  for (const auto& given : cases) {
    given();
    std::string content;
    EXPECT_EQ(files.read(path, content).kind, Kind::missing);
    if (!fs::is_directory(path)) {
      EXPECT_TRUE(replaceFile(files, path, "new").ok()) << "takes the place of what was there";
      EXPECT_TRUE(files.read(path, content).ok());
      EXPECT_EQ(content, "new");
    }
    fs::remove_all(path);
  }
  std::string content;
  EXPECT_TRUE(files.read(target.string(), content).ok());
  EXPECT_EQ(content, "content");
}

TEST_F(NativeFileStoreTest, AFileBeyondAllMeasureIsUnavailable) {
  put("");
  fs::resize_file(path, FileStore::largestFile + 1);
  std::string content = "old";
  EXPECT_EQ(files.read(path, content).kind, Kind::unavailable);
  EXPECT_EQ(content, "");
}

TEST_F(NativeFileStoreTest, TellsWhoElseMayChangeAFile) {
  EXPECT_EQ(files.concern(path), "");
  put("x");
  fs::permissions(path, fs::perms(0600));
  EXPECT_EQ(files.concern(path), "");
  fs::permissions(path, fs::perms(0640));
  EXPECT_THAT(files.concern(path), HasSubstr("its permissions are 640"));
  fs::permissions(path, fs::perms(0600));
  fs::permissions(directory, fs::perms(0777));
  EXPECT_THAT(files.concern(path), HasSubstr("directory are 777"));
  fs::permissions(directory, fs::perms(01777));
  EXPECT_EQ(files.concern(path), "") << "only owners may replace files there";
  if (::geteuid() != 0) return;
  ASSERT_EQ(::chown(path.c_str(), 12345, 12345), 0);
  EXPECT_THAT(files.concern(path), HasSubstr("belongs to user 12345"));
}

// What a process of its own gets for a lock on `path`, and ends with it.
Locked lockedByAnotherProcess(const std::string& path) {
  const pid_t child = ::fork();
  if (child == 0) {
    FileLocks locks;
    std::unique_ptr<FileLock> lock;
    ::_exit(static_cast<int>(locks.lock(path, lock)));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return static_cast<Locked>(WEXITSTATUS(status));
}

TEST_F(NativeFileStoreTest, ALockKeepsOtherProcessesFromANameAndNotFromItsNeighbours) {
  std::unique_ptr<FileLock> lock;
  std::unique_ptr<FileLock> again;
  ASSERT_EQ(files.lock(path, lock), Locked::held);
  EXPECT_EQ(lockedByAnotherProcess(path), Locked::elsewhere);
  EXPECT_EQ(lockedByAnotherProcess((directory / "patch-502.plist").string()), Locked::held);
  EXPECT_EQ(files.lock((directory / "patch-502.plist").string(), again), Locked::held);
  again.reset();
  EXPECT_EQ(lockedByAnotherProcess(path), Locked::elsewhere) << "another name's lock was given up, not this one";
  // The next owner in this process may come before the last one has gone.
  ASSERT_EQ(files.lock(path, again), Locked::held);
  lock.reset();
  EXPECT_EQ(lockedByAnotherProcess(path), Locked::elsewhere);
  again.reset();
  EXPECT_EQ(lockedByAnotherProcess(path), Locked::held);
}

TEST_F(NativeFileStoreTest, NothingThatStandsInTheLockFilesPlaceIsFollowedOrWaitedFor) {
  const fs::path lockFile = directory / FileLocks::fileName;
  const std::function<void()> cases[] = {
      [&] { fs::create_symlink(directory / "elsewhere", lockFile); },
      [&] { ASSERT_EQ(::mkfifo(lockFile.c_str(), 0600), 0); },
      [&] { fs::create_directory(lockFile); },
  };
  for (const auto& given : cases) {
    given();
    std::unique_ptr<FileLock> lock;
    EXPECT_EQ(files.lock(path, lock), Locked::unavailable);
    EXPECT_FALSE(fs::exists(directory / "elsewhere"));
    fs::remove_all(lockFile);
  }
}

}  // namespace
}  // namespace qlczephra::platform
