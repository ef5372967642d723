#include "platform/json/json.h"
#include "service/handlers.h"

namespace qlczephra::service {

ServiceReply patchNode(Store& store, const std::string& product, const ServiceRequest& request) {
  const auto read = json::read(request.body);
  if (const auto* error = std::get_if<json::ReadError>(&read)) return errorReply(400, error->reason);
  const Map* body = std::get<Value>(read).map();
  const Value* id = body == nullptr ? nullptr : body->find("pns_id");
  if (id == nullptr || !id->string()) return errorReply(422, "the body has no \"pns_id\" string");
  if (!store.registerPushId(product, std::string(*id->string()))) return errorReply(404, "no such product");
  ServiceReply reply;
  reply.headers = {{"Content-Type", "application/json"}};
  reply.body = "{}";
  return reply;
}

}  // namespace qlczephra::service
