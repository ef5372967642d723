#include "tools/pending_files.h"

#include <sys/stat.h>

#include <string_view>

#include "document/merge.h"
#include "tools/failure.h"
#include "tools/input.h"

namespace qlczephra::tools {
namespace {

constexpr const char* remedy = "give a file of pending changes with --file";

// Every ".plist" in the name becomes "-sending.plist".
std::string sendingFileOf(const std::string& patchFile) {
  constexpr std::string_view ending = ".plist";
  constexpr std::string_view mark = "-sending";
  std::string name = patchFile;
  for (std::size_t at = name.find(ending); at != std::string::npos;
       at = name.find(ending, at + mark.size() + ending.size())) {
    name.insert(at, mark);
  }
  return name;
}

bool isFile(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

PendingFiles::PendingFiles(const std::string& patchFile) : waiting_(patchFile), sending_(sendingFileOf(patchFile)) {
  if (sending_ == waiting_) {
    throw Misuse(patchFile + " has no \".plist\" in its name, as a file of pending changes must; give another name");
  }
}

// What moves from one file to the other while they are read is then seen twice rather than not at all.
PendingFiles::Changes PendingFiles::read() const {
  Changes changes;
  changes.waiting = readPropertyListIfAny(waiting_, remedy).value_or(Map());
  changes.sending = readPropertyListIfAny(sending_, remedy).value_or(Map());
  return changes;
}

// A file that cannot be read shows nothing, and the other may have the change.
bool PendingFiles::hold(const Map& change) const {
  const auto holds = [&](const std::string& file) {
    try {
      const auto changes = readPropertyListIfAny(file, remedy);
      return changes && document::deepMerging(*changes, change) == *changes;
    } catch (const Failure&) {
      return false;
    }
  };
  return holds(waiting_) || holds(sending_);
}

bool PendingFiles::areGone() const {
  return !isFile(waiting_) && !isFile(sending_);
}

}  // namespace qlczephra::tools
