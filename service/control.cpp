#include "service/control.h"

#include "platform/json/json.h"
#include "service/percent.h"

namespace qlczephra::service {
namespace {

constexpr std::string_view prefix = "/control/";

ServiceReply jsonReply(const Value& value) {
  ServiceReply reply;
  reply.headers = {{"Content-Type", "application/json"}};
  reply.body = json::write(value).value_or("{}");
  return reply;
}

// The one parameter that any control operation takes.
std::optional<std::string> productIn(std::string_view query) {
  constexpr std::string_view name = "product=";
  if (!query.starts_with(name)) return std::nullopt;
  return percentDecoded(query.substr(name.size()));
}

ServiceReply addFaults(Service& service, const ServiceRequest& request) {
  const auto read = json::read(request.body);
  if (const auto* error = std::get_if<json::ReadError>(&read)) return errorReply(400, error->reason);
  auto faults = parseFaults(std::get<Value>(read));
  if (const auto* error = std::get_if<FaultError>(&faults)) return errorReply(422, error->reason);
  service.faults().add(std::move(std::get<std::vector<Fault>>(faults)));
  return jsonReply(Map{{"faults", service.faults().remaining()}});
}

ServiceReply setDocument(Service& service, const ServiceRequest& request, const std::string& product) {
  const auto read = json::read(request.body);
  if (const auto* error = std::get_if<json::ReadError>(&read)) return errorReply(400, error->reason);
  const Map* document = std::get<Value>(read).map();
  if (document == nullptr || !service.store().setDocument(product, *document)) {
    return errorReply(422, "the document has no \"data\" object, or its values could not be saved");
  }
  return jsonReply(Map());
}

ServiceReply showProduct(Service& service, const std::string& product) {
  const auto document = service.store().find(product);
  const auto values = service.store().values(product);
  if (!document || !values) return errorReply(404, "no such product");
  std::vector<Value> pushIds;
  for (const std::string& id : service.store().pushIds(product)) pushIds.emplace_back(id);
  return jsonReply(Map{{"tag", document->tag}, {"values", *values}, {"pns_ids", List(std::move(pushIds))}});
}

ServiceReply showLog(Service& service) {
  std::vector<Value> requests;
  for (const LoggedRequest& entry : service.log().entries()) requests.push_back(describe(entry));
  return jsonReply(Map{{"count", service.log().count()}, {"requests", List(std::move(requests))}});
}

ServiceReply reset(Service& service) {
  service.faults().clear();
  service.log().clear();
  service.store().reset();
  return jsonReply(Map());
}

}  // namespace

bool isControlRequest(const ServiceRequest& request) {
  return request.target.starts_with(prefix);
}

ServiceReply handleControl(Service& service, const ServiceRequest& request) {
  const std::string_view target = std::string_view(request.target).substr(prefix.size());
  const std::size_t question = target.find('?');
  const std::string_view operation = target.substr(0, question);
  const std::string_view query = question == std::string_view::npos ? "" : target.substr(question + 1);

  if (request.method == "POST" && operation == "faults") return addFaults(service, request);
  if (request.method == "POST" && operation == "reset") return reset(service);
  if (request.method == "GET" && operation == "log") return showLog(service);
  const bool setsDocument = request.method == "POST" && operation == "document";
  if (setsDocument || (request.method == "GET" && operation == "product")) {
    const auto product = productIn(query);
    if (!product) return errorReply(400, "the query must be product=NAME");
    return setsDocument ? setDocument(service, request, *product) : showProduct(service, *product);
  }
  return errorReply(404, "no such control operation");
}

}  // namespace qlczephra::service
