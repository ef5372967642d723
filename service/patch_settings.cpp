#include "platform/json/json.h"
#include "service/entity_tag.h"
#include "service/handlers.h"

namespace qlczephra::service {

ServiceReply patchSettings(Store& store, const std::string& product, const ServiceRequest& request) {
  const auto read = json::read(request.body);
  if (const auto* error = std::get_if<json::ReadError>(&read)) return errorReply(400, error->reason);
  const Map* body = std::get<Value>(read).map();
  const Value* entry = body == nullptr ? nullptr : body->find("values");
  const Map* changes = entry == nullptr ? nullptr : entry->map();
  if (changes == nullptr) return errorReply(422, "the body has no \"values\" object");

  const auto condition = findHeader(request.headers, "If-Match");
  const auto update = store.update(product, *changes, [&condition](std::string_view tag) {
    return !condition || namesTag(*condition, tag, TagComparison::strong);
  });
  switch (update.status) {
    case Store::UpdateStatus::unknownProduct:
      return errorReply(404, "no such product");
    case Store::UpdateStatus::preconditionFailed:
      return errorReply(412, "the settings have changed");
    case Store::UpdateStatus::notSaved:
      return errorReply(500, "the values could not be saved");
    case Store::UpdateStatus::done:
      break;
  }
  ServiceReply reply;
  reply.headers = {{"Etag", update.tag}, {"Content-Type", "application/json"}};
  reply.body = "{}";
  return reply;
}

}  // namespace qlczephra::service
