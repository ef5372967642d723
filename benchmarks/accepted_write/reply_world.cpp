#include "benchmarks/accepted_write/reply_world.h"

#include <map>
#include <utility>

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

Replies checkedReplies(std::size_t settings) {
  Replies replies;
  replies.documents[0] = documentOf(settings).text;
  replies.documents[1] = replacedIn(replies.documents[0], ".example.org", ".example.net");
  require(replies.documents[0] != replies.documents[1], "two replies are the same");
  ReplyWorld world(replies);
  for (const std::string& document : replies.documents) {
    static_cast<void>(world.applyReply());
    require(world.hasAndStores(effectiveTreeOf(document)), "a reply was not applied and stored");
  }
  replies.stored = world.stored();
  return replies;
}

}  // namespace

const Replies& repliesWith(std::size_t settings) {
  static std::map<std::size_t, Replies> all;
  const auto found = all.find(settings);
  return found != all.end() ? found->second : all.emplace(settings, checkedReplies(settings)).first->second;
}

ReplyWorld::ReplyWorld(const Replies& replies) : replies_(replies) {
  manager_.setLocalFilePath(directory_.file("zephra.plist"));
  manager_.setPatchFilePath(directory_.file("patch.plist"));
  static_cast<void>(applyReply());
}

bool ReplyWorld::hasAndStores(const Map& tree) const {
  return manager_.currentSettings() == tree && stored() == plist::write(Value(tree));
}

std::chrono::duration<double> ReplyWorld::applyReply() {
  bool fetched = false;
  manager_.fetchRemoteSettings([&fetched](const ErrorRef& error) { fetched = error == nullptr; });
  platform_.run();
  platform::HttpOutcome outcome;
  outcome.head = platform::HttpReplyHead{200, {{"Content-Type", "application/json"}}};
  outcome.body = replies_.documents[std::exchange(next_, 1 - next_)];

  const auto begin = std::chrono::steady_clock::now();
  platform_.answer(std::move(outcome));
  const auto end = std::chrono::steady_clock::now();
  require(fetched, "the fetch failed");
  platform_.run();
  return end - begin;
}

}  // namespace qlczephra::bench
