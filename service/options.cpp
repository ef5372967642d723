#include "service/options.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "service/files.h"

namespace qlczephra::service {
namespace {

constexpr int misuse = 2;

constexpr const char* examples = R"(Examples:
  zephra-service
      The built-in sample document (product "corlane") on a free port; any bearer token will do.
  zephra-service --port 8080 --document corlane=settings.json --token-file tokens --values values.json
      One's own document; what clients change is kept in values.json.
  zephra-service --tls --write-ca ca.pem --faults faults.json --verbose
      HTTPS with a certificate of its own, scripted faults, one line for each request.
)";

ProgramExit wrong(const std::string& what) {
  return {misuse, "zephra-service: " + what + " (see zephra-service --help)\n"};
}

std::optional<ProgramExit> takeDocuments(const std::vector<std::string>& entries, ProgramOptions& options) {
  for (const std::string& entry : entries) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == entry.size()) {
      return wrong("--document " + entry + ": give it as PRODUCT=FILE");
    }
    options.documents[entry.substr(0, equals)] = entry.substr(equals + 1);
  }
  return std::nullopt;
}

std::optional<ProgramExit> takeTokens(const std::string& path, ProgramOptions& options) {
  if (path.empty()) return std::nullopt;
  const auto content = readFile(path);
  if (!content) return wrong("--token-file " + path + ": cannot be read; give a file with one token a line");
  std::istringstream lines(*content);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) options.tokens.insert(line);
  }
  if (options.tokens.empty()) return wrong("--token-file " + path + ": holds no token; give one token a line");
  return std::nullopt;
}

}  // namespace

std::variant<ProgramOptions, ProgramExit> parseOptions(int argc, const char* const* argv) {
  ProgramOptions options;
  std::vector<std::string> documents;
  std::vector<std::string> tokens;
  std::string tokenFile;

  CLI::App app("Stand-in for the Zephra settings service, on 127.0.0.1, for development and tests.", "zephra-service");
  app.footer(examples);
  app.add_option("--port", options.port, "Port to listen on; 0 takes any free one (default)");
  app.add_option("--port-file", options.portFile, "Write the port into this file once the service is ready");
  app.add_option("--document", documents, "PRODUCT=FILE: settings document of a product; repeatable")
      ->allow_extra_args(false);
  app.add_option("--token", tokens, "Accepted bearer token; repeatable; without any, every token is accepted")
      ->allow_extra_args(false);
  app.add_option("--token-file", tokenFile, "File of accepted bearer tokens, one a line");
  app.add_option("--faults", options.faultsFile, "JSON file of scripted faults");
  app.add_option("--values", options.valuesFile, "Keep the values that clients change in this JSON file");
  app.add_option("--base-path", options.basePath, "Path in front of /zephra/..., for example /eu");
  app.add_flag("--tls", options.tls, "Serve HTTPS with a certificate made for this run");
  app.add_option("--write-ca", options.authorityFile, "Write the authority that clients must trust, as PEM")
      ->needs("--tls");
  app.add_flag("--verbose", options.verbose, "Print a line for each request on standard error");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return ProgramExit{0, app.help()};
  } catch (const CLI::ParseError& error) {
    return wrong(error.what());
  }
  if (!options.basePath.empty() && (options.basePath.front() != '/' || options.basePath.back() == '/')) {
    return wrong("--base-path " + options.basePath + ": must begin with / and not end with it");
  }
  options.tokens.insert(tokens.begin(), tokens.end());
  if (options.tokens.contains("")) return wrong("--token: must not be empty; leave it out to accept every token");
  if (auto exit = takeDocuments(documents, options)) return *exit;
  if (auto exit = takeTokens(tokenFile, options)) return *exit;
  return options;
}

}  // namespace qlczephra::service
