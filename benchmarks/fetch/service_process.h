// The stand-in service in a process of its own, so that this one's CPU time is the client's alone.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>

namespace qlczephra::bench {

class ServiceProcess {
 public:
  // Serves the documents (product to JSON text) over plain HTTP and over TLS. To be made before the first thread is.
  explicit ServiceProcess(const std::map<std::string, std::string>& documents);
  ~ServiceProcess();  // ends the process
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  [[nodiscard]] const std::string& plainUrl() const { return plainUrl_; }
  [[nodiscard]] const std::string& tlsUrl() const { return tlsUrl_; }
  // What a client must trust, in PEM.
  [[nodiscard]] const std::string& authority() const { return authority_; }

 private:
  pid_t process_ = -1;
  std::string plainUrl_;
  std::string tlsUrl_;
  std::string authority_;
};

}  // namespace qlczephra::bench
