#include "benchmarks/accepted_write/reply_world.h"

#include <utility>

#include "benchmarks/accepted_write/bare_replacement.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

std::string replacedIn(std::string text, const std::string& part, const std::string& by) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size())) {
    text.replace(at, part.size(), by);
  }
  return text;
}

}  // namespace

ReplyWorld::ReplyWorld(std::size_t settings) {
  documents_[0] = documentOf(settings).text;
  documents_[1] = replacedIn(documents_[0], ".example.org", ".example.net");
  manager_.setLocalFilePath(directory_.file("zephra.plist"));
  manager_.setPatchFilePath(directory_.file("patch.plist"));
  for (const std::string& document : documents_) {
    static_cast<void>(applyReply());
    requireStored(document);
  }
  local_ = contentOf(directory_.file("zephra.plist"));
}

void ReplyWorld::requireStored(const std::string& document) const {
  const Map tree = effectiveTreeOf(document);
  require(manager_.currentSettings() == tree, "the reply was not applied");
  require(contentOf(directory_.file("zephra.plist")) == plist::write(Value(tree)), "the reply was not stored");
}

std::chrono::duration<double> ReplyWorld::applyReply() {
  bool fetched = false;
  manager_.fetchRemoteSettings([&fetched](const ErrorRef& error) { fetched = error == nullptr; });
  platform_.run();
  platform::HttpOutcome outcome;
  outcome.head = platform::HttpReplyHead{200, {{"Content-Type", "application/json"}}};
  outcome.body = documents_[std::exchange(next_, 1 - next_)];

  const auto begin = std::chrono::steady_clock::now();
  platform_.answer(std::move(outcome));
  const auto end = std::chrono::steady_clock::now();
  require(fetched, "the fetch failed");
  platform_.run();
  return end - begin;
}

void ReplyWorld::replaceFile() const {
  replaceBarely(directory_.file("bare-local.plist"), local_);
}

}  // namespace qlczephra::bench
