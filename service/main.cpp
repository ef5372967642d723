// zephra-service: the stand-in service as a program. Runs until SIGINT or SIGTERM.
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "platform/json/json.h"
#include "service/files.h"
#include "service/http_server.h"
#include "service/options.h"
#include "service/sample_document.h"
#include "service/values_file.h"

namespace {

using namespace qlczephra;
using namespace qlczephra::service;

constexpr int failure = 1;
constexpr int misuse = 2;

int say(int status, const std::string& text) {
  std::fputs(text.c_str(), status == 0 ? stdout : stderr);
  return status;
}

int complain(int status, const std::string& what) {
  return say(status, "zephra-service: " + what + "\n");
}

// The JSON in a file; prints why not.
std::optional<Value> readJson(const std::string& option, const std::string& path) {
  const auto content = readFile(path);
  if (!content) {
    complain(misuse, option + " " + path + ": cannot be read; give the path of a JSON file");
    return std::nullopt;
  }
  auto read = json::read(*content);
  if (const auto* error = std::get_if<json::ReadError>(&read)) {
    complain(misuse, option + " " + path + ": not JSON (" + error->reason + "); correct the file");
    return std::nullopt;
  }
  return std::get<Value>(read);
}

bool placeDocument(Service& target, const std::string& product, const Value& document, const std::string& source) {
  if (document.map() != nullptr && target.store().restoreDocument(product, *document.map())) return true;
  complain(misuse, source +
                       ": no settings document could be taken from it; it needs a \"data\" object, and the "
                       "--values file must be writable");
  return false;
}

bool placeDocuments(Service& target, const ProgramOptions& options) {
  if (options.documents.empty()) {
    return placeDocument(target, "corlane", std::get<Value>(json::read(sampleDocument())), "built-in sample");
  }
  for (const auto& [product, path] : options.documents) {
    const auto document = readJson("--document", path);
    if (!document || !placeDocument(target, product, *document, "--document " + path)) return false;
  }
  return true;
}

bool placeFaults(Service& target, const std::string& path) {
  if (path.empty()) return true;
  const auto list = readJson("--faults", path);
  if (!list) return false;
  auto faults = parseFaults(*list);
  if (const auto* error = std::get_if<FaultError>(&faults)) {
    complain(misuse, "--faults " + path + ": " + error->reason + "; correct the file");
    return false;
  }
  target.faults().add(std::move(std::get<std::vector<Fault>>(faults)));
  return true;
}

void printRequest(const LoggedRequest& entry) {
  std::fprintf(stderr, "%s %s %s -> %d%s\n", entry.transaction.c_str(), entry.request.method.c_str(),
               entry.request.target.c_str(), entry.status, entry.drop == Drop::never ? "" : " (dropped)");
}

// Blocks the signals that end the program in this and all later threads.
sigset_t holdEndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int serve(const ProgramOptions& options) {
  ServiceOptions serviceOptions;
  serviceOptions.basePath = options.basePath;
  serviceOptions.tokens = options.tokens;
  if (options.verbose) serviceOptions.observer = printRequest;
  if (!options.valuesFile.empty()) {
    auto saved = readValuesFile(options.valuesFile);
    if (const auto* error = std::get_if<ValuesFileError>(&saved)) {
      return complain(misuse, "--values: " + error->reason + "; correct or remove the file");
    }
    serviceOptions.savedValues = std::get<Map>(saved);
    serviceOptions.valuesWriter = valuesFileWriter(options.valuesFile);
  }
  Service target(std::move(serviceOptions));
  if (!placeDocuments(target, options) || !placeFaults(target, options.faultsFile)) return misuse;

  std::optional<ServerCertificate> certificate;
  if (options.tls) certificate = makeServerCertificate();
  if (!options.authorityFile.empty() && !replaceFile(options.authorityFile, certificate->authorityPem)) {
    return complain(failure,
                    "--write-ca " + options.authorityFile + ": cannot be written; choose a writable directory");
  }

  const sigset_t endingSignals = holdEndingSignals();
  ServiceServer server(target, certificate);
  if (!server.start(options.port)) {
    return complain(failure, "--port " + std::to_string(options.port) + ": cannot listen there; choose another, or 0");
  }
  if (!options.portFile.empty() && !replaceFile(options.portFile, std::to_string(server.port()) + "\n")) {
    return complain(failure, "--port-file " + options.portFile + ": cannot be written; choose a writable directory");
  }
  std::printf("listening on %s%s\n", server.url().c_str(), options.basePath.c_str());
  std::fflush(stdout);
  int received = 0;
  sigwait(&endingSignals, &received);
  server.stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto parsed = parseOptions(argc, argv);
    if (const auto* exit = std::get_if<ProgramExit>(&parsed)) return say(exit->status, exit->text);
    return serve(std::get<ProgramOptions>(parsed));
  } catch (const std::exception& error) {
    return complain(failure, error.what());
  }
}
