#include "benchmarks/fetch/service_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <variant>

#include "benchmarks/support/require.h"
#include "platform/json/json.h"
#include "qlczephra/value.h"
#include "service/http_server.h"
#include "service/service.h"
#include "service/tls_certificate.h"

namespace qlczephra::bench {

namespace {

[[noreturn]] void serve(const std::map<std::string, std::string>& documents, int report) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  service::ServiceOptions options;
  options.logCapacity = 1;
  service::Service service(std::move(options));
  for (const auto& [product, text] : documents) {
    const auto read = json::read(text);
    const auto* value = std::get_if<Value>(&read);
    require(value != nullptr && value->map() != nullptr && service.store().setDocument(product, *value->map()),
            "the service does not take the document of " + product);
  }
  const service::ServerCertificate certificate = service::makeServerCertificate();
  service::ServiceServer plain(service);
  service::ServiceServer secure(service, certificate);
  require(plain.start() && secure.start(), "the service cannot listen");
  const std::string lines = plain.url() + '\n' + secure.url() + '\n' + certificate.authorityPem;
  require(::write(report, lines.data(), lines.size()) == static_cast<ssize_t>(lines.size()), "no pipe");
  ::close(report);
  for (;;) ::pause();
}

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

ServiceProcess::ServiceProcess(const std::map<std::string, std::string>& documents) {
  std::array<int, 2> pipe{};
  require(::pipe(pipe.data()) == 0, "no pipe");
  process_ = ::fork();
  require(process_ >= 0, "no process for the service");
  if (process_ == 0) {
    ::close(pipe[0]);
    serve(documents, pipe[1]);
  }
  ::close(pipe[1]);
  std::istringstream report(readAll(pipe[0]));
  ::close(pipe[0]);
  std::getline(report, plainUrl_);
  std::getline(report, tlsUrl_);
  authority_.assign(std::istreambuf_iterator<char>(report), {});
  require(!authority_.empty(), "the service did not start");
}

ServiceProcess::~ServiceProcess() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace qlczephra::bench
