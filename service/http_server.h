// A Service on a real port of the loopback interface, over HTTP/1.1, plain or under TLS, together with its control
// interface. Connections are kept open and have a thread each, up to 4096.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "service/service.h"
#include "service/tls_certificate.h"

namespace qlczephra::service {

class ServiceServer {
 public:
  // Without a certificate: plain HTTP. The service must outlive the server.
  explicit ServiceServer(Service& service, const std::optional<ServerCertificate>& certificate = {});
  ~ServiceServer();  // stops
  ServiceServer(const ServiceServer&) = delete;
  ServiceServer& operator=(const ServiceServer&) = delete;

  // Listens on 127.0.0.1 (port 0: any free one); true once connections are accepted. Not to be called again after
  // stop().
  [[nodiscard]] bool start(std::uint16_t port = 0);
  // Breaks all connections, ends held-back replies, and returns when no thread is left. Harmless when repeated; not
  // from a thread that handles a request.
  void stop();

  [[nodiscard]] std::uint16_t port() const;
  // "http://127.0.0.1:PORT" or "https://...", without the service's base path.
  [[nodiscard]] std::string url() const;

  [[nodiscard]] std::uint64_t acceptedConnections() const;
  [[nodiscard]] std::uint64_t resumedTlsSessions() const;

 private:
  class Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace qlczephra::service
