#include "platform/native/files/file_permissions.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>

#include "platform/replace_file.h"

namespace qlczephra::platform {

namespace {

std::string octal(mode_t mode) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), mode & 07777U, 8).ptr;
  return {digits.data(), end};
}

}  // namespace

std::string permissionProblem(const std::string& path) {
  constexpr mode_t forOthers = S_IRWXG | S_IRWXO;
  constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;
  const uid_t self = ::geteuid();
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    if (status.st_uid != self) return "it belongs to user " + std::to_string(status.st_uid) + ": " + path;
    if ((status.st_mode & forOthers) != 0) return "its permissions are " + octal(status.st_mode) + ": " + path;
  }
  const std::string directory = directoryOf(path);
  if (::stat(directory.c_str(), &status) != 0) return {};
  if (status.st_uid != self && status.st_uid != 0) {
    return "its directory belongs to user " + std::to_string(status.st_uid) + ": " + path;
  }
  if ((status.st_mode & writableByOthers) != 0 && (status.st_mode & S_ISVTX) == 0) {
    return "the permissions of its directory are " + octal(status.st_mode) + ": " + path;
  }
  return {};
}

}  // namespace qlczephra::platform
