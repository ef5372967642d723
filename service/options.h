// The command line of zephra-service.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <variant>

namespace qlczephra::service {

struct ProgramOptions {
  std::uint16_t port = 0;
  std::string portFile;                          // empty: none, as for all files here
  std::map<std::string, std::string> documents;  // product to file; empty: the built-in sample
  std::set<std::string, std::less<>> tokens;
  std::string faultsFile;
  std::string valuesFile;
  std::string basePath;
  bool tls = false;
  std::string authorityFile;
  bool verbose = false;
};

// Nothing to run: what to print (help) or why not (misuse, one line).
struct ProgramExit {
  int status = 0;
  std::string text;
};

[[nodiscard]] std::variant<ProgramOptions, ProgramExit> parseOptions(int argc, const char* const* argv);

}  // namespace qlczephra::service
