#include "tools/connection_options.h"

#include <CLI/CLI.hpp>

#include "qlczephra/certificates_handler.h"
#include "tools/ca_file_handler.h"
#include "tools/failure.h"
#include "tools/host_objects.h"
#include "tools/input.h"

namespace qlczephra::tools {
namespace {

constexpr const char* tokenRemedy = "give the token with --token-file FILE, --token-stdin or --token TOKEN";

// A file of one line ends in a line break that is no part of the token.
std::string withoutLineEnd(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

}  // namespace

Host makeHost(const std::string& url, const std::string& product, const std::string& userAgent,
              const std::string& token) {
  auto delegate = std::make_shared<FixedToken>(token);
  return {delegate, std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(product, userAgent),
                                                       std::make_shared<FixedURL>(url), delegate)};
}

CLI::Option* ConnectionOptions::addTo(CLI::App& command) {
  CLI::Option* service = command.add_option("--service", service_, "Base URL of the service, http or https");
  // The text in place of the generated one, which would name every option that another needs or excludes.
  service->option_text("URL")->group("Service");
  const auto option = [&](const char* name, auto& target, const char* description, const char* text) {
    return command.add_option(name, target, description)->option_text(text)->group("Service")->needs(service);
  };
  option("--product", product_, "Product name, the path component that names the product at the service", "NAME");
  CLI::Option* token = option("--token", token_, "CCR token; other users of this machine can see it", "TOKEN");
  CLI::Option* tokenFile = option("--token-file", tokenFile_, "File that holds the CCR token on one line", "FILE");
  CLI::Option* tokenInput =
      command.add_flag("--token-stdin", tokenFromInput_, "Read the CCR token from standard input");
  tokenInput->option_text(" ")->group("Service")->needs(service);
  token->excludes(tokenFile)->excludes(tokenInput);
  tokenFile->excludes(tokenInput);
  option("--user-agent", userAgent_, "User-Agent of the requests (default: qlczephra/1.0)", "TEXT");
  option("--ca", authorityFile_, "Trust the authorities in this PEM file instead of the system's", "FILE");

  CLI::Option* uid = option("--uid", uid_, "Keep the settings in the product's own files of this user id", "UID");
  CLI::Option* localFile =
      option("--local-file", localFile_, "Keep the settings in this file (default: in none)", "FILE");
  CLI::Option* patchFile =
      option("--patch-file", patchFile_,
             "Keep pending changes in this file; those in it are laid over the settings (default: none)", "FILE");
  uid->excludes(localFile)->excludes(patchFile);
  return service;
}

std::string ConnectionOptions::token() const {
  std::string token = token_;
  if (!tokenFile_.empty()) token = withoutLineEnd(readInput(tokenFile_, tokenRemedy));
  if (tokenFromInput_) token = withoutLineEnd(readInput("-", tokenRemedy));
  if (token.empty()) throw Misuse(std::string("there is no token for the service; ") + tokenRemedy);
  refuseControlCharacters(token, "the token", "give it on one line");
  return token;
}

Host ConnectionOptions::connect() const {
  if (product_.empty()) throw Misuse("there is no product name for the service; give it with --product NAME");
  if (QLCAppInfo(product_, userAgent_).zephraSettingsURL(service_).empty()) {
    throw Misuse("no service address follows from --service " + service_ + " and --product " + product_ +
                 "; give a URL like https://service.example and a product name other than '.' and '..'");
  }
  refuseControlCharacters(userAgent_, "the User-Agent", "give plain text with --user-agent");
  const std::string token = this->token();
  // Managers take the shared handler when they are made.
  if (!authorityFile_.empty()) {
    QLCPMCertificatesHandler::setInstance(std::make_shared<CaFileHandler>(authorityFile_));
  }
  Host host = makeHost(service_, product_, userAgent_, token);
  host.manager->setLocalFilePath(uid_ ? QLCZephraManager::localSettingsFileForUid(*uid_) : localFile_);
  host.manager->setPatchFilePath(uid_ ? QLCZephraManager::patchSettingsFileForUid(*uid_) : patchFile_);
  return host;
}

}  // namespace qlczephra::tools
