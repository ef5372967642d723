#include "service/entity_tag.h"
#include "service/handlers.h"

namespace qlczephra::service {

ServiceReply getSettings(const Store& store, const std::string& product, const ServiceRequest& request) {
  const auto document = store.find(product);
  if (!document) return errorReply(404, "no such product");
  ServiceReply reply;
  reply.headers = {{"Etag", document->tag}};
  const auto condition = findHeader(request.headers, "If-None-Match");
  if (condition && namesTag(*condition, document->tag, TagComparison::weak)) {
    reply.status = 304;
    return reply;
  }
  setHeader(reply.headers, "Content-Type", "application/json");
  reply.body = *document->body;
  return reply;
}

}  // namespace qlczephra::service
