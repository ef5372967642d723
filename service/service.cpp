#include "service/service.h"

#include <strings.h>

#include "service/handlers.h"
#include "service/percent.h"

namespace qlczephra::service {
namespace {

enum class Resource : std::uint8_t { settings, node };

struct Route {
  Resource resource = Resource::settings;
  std::string_view encodedProduct;
};

// <base>/zephra/client-api/v3/clients/me/products/<product>/{settings,node}, nothing before and nothing behind.
std::optional<Route> findRoute(std::string_view target, std::string_view basePath) {
  constexpr std::string_view apiPath = "/zephra/client-api/v3/clients/me/products/";
  if (!target.starts_with(basePath)) return std::nullopt;
  target.remove_prefix(basePath.size());
  if (!target.starts_with(apiPath)) return std::nullopt;
  target.remove_prefix(apiPath.size());
  const std::size_t slash = target.find('/');
  if (slash == 0 || slash == std::string_view::npos) return std::nullopt;
  const std::string_view resource = target.substr(slash + 1);
  if (resource == "settings") return Route{Resource::settings, target.substr(0, slash)};
  if (resource == "node") return Route{Resource::node, target.substr(0, slash)};
  return std::nullopt;
}

ServiceReply methodNotAllowed(const char* allowed) {
  ServiceReply reply = errorReply(405, "this resource knows no such method");
  setHeader(reply.headers, "Allow", allowed);
  return reply;
}

}  // namespace

Service::Service(ServiceOptions options)
    : basePath_(std::move(options.basePath)),
      tokens_(std::move(options.tokens)),
      store_(std::move(options.valuesWriter), std::move(options.savedValues)),
      log_(options.logCapacity, std::move(options.observer)) {}

ServiceReply Service::handle(const ServiceRequest& request) {
  const std::string_view path = std::string_view(request.target).substr(0, request.target.find('?'));
  const std::optional<Fault> fault = faults_.take(request.method, path);
  ServiceReply reply = fault && !fault->apply ? errorReply(503, "scripted fault") : answer(request);
  std::string transaction = "t" + std::to_string(++transactions_);
  setHeader(reply.headers, "x-transaction", transaction);
  if (fault) spoil(reply, *fault);
  log_.add({std::move(transaction), request, reply.status, reply.drop});
  return reply;
}

ServiceReply Service::answer(const ServiceRequest& request) {
  const auto route = findRoute(request.target, basePath_);
  if (!route) return errorReply(404, "no such resource");
  const bool isPatch = request.method == "PATCH";
  const bool isGet = request.method == "GET";
  if (route->resource == Resource::node && !isPatch) return methodNotAllowed("PATCH");
  if (!isPatch && !isGet) return methodNotAllowed("GET, PATCH");
  if (!isAuthorized(request)) {
    ServiceReply reply = errorReply(401, "a bearer token is needed");
    setHeader(reply.headers, "WWW-Authenticate", "Bearer");
    return reply;
  }
  const auto product = percentDecoded(route->encodedProduct);
  if (!product) return errorReply(400, "the product name is not percent-encoded correctly");
  if (route->resource == Resource::node) return patchNode(store_, *product, request);
  return isPatch ? patchSettings(store_, *product, request) : getSettings(store_, *product, request);
}

bool Service::isAuthorized(const ServiceRequest& request) const {
  constexpr std::string_view scheme = "Bearer ";
  const auto credentials = findHeader(request.headers, "Authorization");
  if (!credentials || strncasecmp(credentials->c_str(), scheme.data(), scheme.size()) != 0) return false;
  const std::string_view token = std::string_view(*credentials).substr(scheme.size());
  return !token.empty() && (tokens_.empty() || tokens_.contains(token));
}

}  // namespace qlczephra::service
