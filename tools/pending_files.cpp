#include "tools/pending_files.h"

#include <unistd.h>

#include <string_view>

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

}  // namespace

PendingFiles::PendingFiles(const std::string& patchFile) : waiting_(patchFile), sending_(sendingFileOf(patchFile)) {
  if (sending_ == waiting_) {
    throw Misuse(patchFile + " has no \".plist\" in its name, as a file of pending changes must; give another name");
  }
}

// What moves from one file to the other while they are read is then seen twice rather than not at all.
PendingFiles::Changes PendingFiles::read() const {
  Changes changes;
  changes.waiting = readPropertyListIfAny(waiting_, remedy);
  changes.sending = readPropertyListIfAny(sending_, remedy);
  return changes;
}

bool PendingFiles::areGone() const {
  return ::access(waiting_.c_str(), F_OK) != 0 && ::access(sending_.c_str(), F_OK) != 0;
}

}  // namespace qlczephra::tools
