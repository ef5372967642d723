// What all measurements of fetches share: the service, the machine, and a manager beside a bare handle.
#pragma once

#include <curl/curl.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <system_error>

#include "benchmarks/fetch/bare_handle.h"
#include "benchmarks/fetch/host.h"
#include "benchmarks/fetch/service_process.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

// Settings in the documents that are fetched. With hardly any the client's own work shows.
inline constexpr std::size_t sizes[] = {1, 300};

inline std::string productOf(std::size_t settings) {
  return "product" + std::to_string(settings);
}

inline std::map<std::string, std::string> allDocuments() {
  std::map<std::string, std::string> documents;
  for (const std::size_t settings : sizes) documents[productOf(settings)] = documentOf(settings).text;
  return documents;
}

// The system's certificates, so that the trust store has the size that it has everywhere, and the service's authority.
class Bundle {
 public:
  explicit Bundle(const std::string& authority)
      : path_(std::filesystem::temp_directory_path() / ("qlczephra-bundle-" + std::to_string(::getpid()) + ".pem")) {
    std::ifstream system(curl_version_info(CURLVERSION_NOW)->cainfo);
    const std::string certificates{std::istreambuf_iterator<char>(system), {}};
    require(!certificates.empty(), "the system has no bundle of certificates");
    std::ofstream(path_) << certificates << '\n' << authority;
  }
  ~Bundle() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;
  [[nodiscard]] std::string path() const { return path_.string(); }

 private:
  const std::filesystem::path path_;
};

struct World {
  ServiceProcess service{allDocuments()};  // first: it forks
  Bundle bundle{service.authority()};
  MachineTrusting machine{bundle.path()};

  ~World() { machine.end(); }
  [[nodiscard]] const std::string& url(bool secure) const { return secure ? service.tlsUrl() : service.plainUrl(); }
};

// A document over one kind of connection: a manager that fetches it, and a handle that gets it.
struct Pair {
  Pair(World& world, bool secure, std::size_t settings)
      : host(world.machine, world.url(secure), productOf(settings)),
        request(world.url(secure), productOf(settings), world.bundle.path()) {
    managers.push_back(host.make());
    fetchAll(managers);
    require(manager().currentSettings() == effectiveTreeOf(bare.get()), "the two did not get the same document");
  }

  [[nodiscard]] QLCZephraManager& manager() const { return *managers.front(); }

  Host host;
  BareRequest request;
  Managers managers;
  BareHandle bare{request};
};

}  // namespace qlczephra::bench
