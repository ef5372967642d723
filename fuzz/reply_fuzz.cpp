// Whatever the service answers, a call ends once, settings change only with a document that can be interpreted, and a
// change that was accepted arrives in the end.
//
// The input: the call ("fetch", "upload" or "push"), then replies, each a status, header lines, an empty line and a
// body. Status 0 is a connection that was lost; "!" behind the status one that breaks after the head. Then the service
// is well again.
#include <charconv>
#include <deque>

#include "document/settings_document.h"
#include "fuzz/pieces.h"
#include "fuzz/require.h"
#include "fuzz/storing.h"
#include "tests/support/manager_world.h"

namespace qlczephra::fuzz {
namespace {

using test::ManagerWorld;

constexpr std::size_t mostReplies = 16;
constexpr const char* changedPath = "common.count";
constexpr std::int64_t changedValue = 7;

service::ServiceReply replyIn(std::string_view text) {
  Pieces lines(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  service::ServiceReply reply;
  const std::string_view status = lines.upTo('\n');
  unsigned short number = 0;
  std::from_chars(status.data(), status.data() + status.size(), number);
  reply.status = number % 1000;
  if (reply.status == 0) reply.drop = service::Drop::beforeHeaders;
  if (status.ends_with('!')) reply.drop = service::Drop::afterHeaders;
  while (!lines.atEnd()) {
    const std::string_view line = lines.upTo('\n');
    if (line.empty()) break;
    const std::size_t colon = line.find(':');
    reply.headers.emplace_back(line.substr(0, colon), colon == line.npos ? "" : line.substr(colon + 1));
  }
  reply.body = lines.rest();
  return reply;
}

bool isSuccess(int status) {
  return status >= 200 && status <= 299;
}

// A manager that has fetched the settings once, and a service that has the input's replies to give.
class Scene {
 public:
  explicit Scene(Pieces& pieces) {
    world_.world.network().connectTo([this](const service::ServiceRequest& request) { return answer(request); });
    require(world_.fetched() == "success");
    tree_ = world_.manager->currentSettings();
    require(tree_.has_value());
    while (!pieces.atEnd() && replies_.size() < mostReplies) replies_.push_back(replyIn(pieces.next()));
  }

  void fetch() {
    const test::Call& call = world_.fetch();
    world_.runUntilIdle();
    require(call.completions == 1);
    require(world_.manager->currentSettings() == tree_);
  }

  void registerPushId() {
    test::Call& call = world_.newCall();
    world_.manager->setPNSID("id", world_.recording(call));
    world_.runUntilIdle();
    require(call.completions == 1);
    require(world_.manager->currentSettings() == tree_);
  }

  void upload() {
    world_.manager->setSettingValue(changedPath, changedValue);
    world_.runUntilIdle();
    require(confirmed_);
    require(!world_.world.disk().content(ManagerWorld::patchFile));
    require(!world_.world.disk().content(ManagerWorld::sendingFile));
    if (!changed_) require(world_.manager->getNumberValue(changedPath) == changedValue);
  }

  // In every call.
  void requireOrder() {
    for (const auto& sent : world_.requests()) {
      for (const auto& [name, value] : sent.request.headers) {
        require((name + value).find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos);
      }
    }
    require(world_.world.network().mostInFlight("PATCH", ManagerWorld::settingsURL) <= 1);
    const auto settings = world_.manager->currentSettings();
    if (requireStored(*settings)) require(world_.storedMap(ManagerWorld::localFile) == settings);
  }

 private:
  service::ServiceReply answer(const service::ServiceRequest& request) {
    service::ServiceReply reply;
    reply.headers.emplace_back("Etag", "\"1\"");
    if (request.method == "GET") reply.body = ManagerWorld::document;
    if (!replies_.empty()) {
      reply = std::move(replies_.front());
      replies_.pop_front();
    }
    if (request.method == "GET") {
      if (isSuccess(reply.status) && reply.drop == service::Drop::never) remember(reply.body);
    } else if ((isSuccess(reply.status) || reply.status == 304) && reply.drop != service::Drop::beforeHeaders) {
      // The head alone confirms a change, and so does "not modified".
      const auto body = mapIn(request.body);
      const Value* values = body ? body->find("values") : nullptr;
      confirmed_ = confirmed_ || (values != nullptr && *values == Map{{"common", Map{{"count", changedValue}}}});
    }
    return reply;
  }

  // The tree of the newest document that can be interpreted.
  void remember(const std::string& body) {
    const auto interpreted = document::SettingsDocument::interpret(body);
    const auto* document = std::get_if<document::SettingsDocument>(&interpreted);
    if (document == nullptr) return;
    if (tree_) changed_ = true;
    tree_ = document->effectiveTree({});
  }

  ManagerWorld world_;
  std::deque<service::ServiceReply> replies_;
  std::optional<Map> tree_;
  bool changed_ = false;    // by a document after the first
  bool confirmed_ = false;  // the service took the change
};

}  // namespace
}  // namespace qlczephra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  fuzz::Pieces pieces(data, size);
  const std::string_view call = pieces.next();
  fuzz::Scene scene(pieces);
  if (call.starts_with('u')) {
    scene.upload();
  } else if (call.starts_with('p')) {
    scene.registerPushId();
  } else {
    scene.fetch();
  }
  scene.requireOrder();
  return 0;
}
