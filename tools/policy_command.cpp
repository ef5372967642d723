// policy: what a host would act on, built from the settings of a service, a stored file or a document.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "tools/commands.h"
#include "tools/document_source.h"
#include "tools/failure.h"
#include "tools/output.h"
#include "tools/policy_json.h"
#include "tools/policy_text.h"
#include "tools/settings_source.h"
#include "tools/stdout_redirect.h"

namespace qlczephra::tools {
namespace {

constexpr const char* examples = R"(Examples:
  qlczephra policy --file zephra-501.plist
      All policies.
  qlczephra policy curfew --service https://service.example --product corlane --token-file token
      One of them: timeLimits, curfew, quota, browsingProtection, contentCategories, schedule, pmProxySettings,
      firewall or vort2ProxySettings.
  qlczephra policy firewall --json --document document.json --patch patch-501.plist
      What would follow from a settings document, for programs; null where there is no policy.
)";

struct View {
  const char* name;
  Value (*json)(const QLCZephraManager& manager);
  Lines (*text)(const QLCZephraManager& manager);
};

template <auto accessor>
constexpr View view(const char* name) {
  return {name, [](const QLCZephraManager& manager) { return asJson((manager.*accessor)()); },
          [](const QLCZephraManager& manager) { return asText((manager.*accessor)()); }};
}

constexpr View views[] = {
    view<&QLCZephraManager::timeLimits>("timeLimits"),
    view<&QLCZephraManager::curfew>("curfew"),
    view<&QLCZephraManager::quota>("quota"),
    view<&QLCZephraManager::browsingProtection>("browsingProtection"),
    view<&QLCZephraManager::contentCategories>("contentCategories"),
    view<&QLCZephraManager::schedule>("schedule"),
    view<&QLCZephraManager::pmProxySettings>("pmProxySettings"),
    view<&QLCZephraManager::firewall>("firewall"),
    view<&QLCZephraManager::vort2ProxySettings>("vort2ProxySettings"),
};

struct PolicyCommand {
  SettingsSource source;
  DocumentSource document;
  OutputOptions output;
  std::string name;  // empty: all

  void run() const;
  [[nodiscard]] Host open() const;
  void printJson(const QLCZephraManager& manager) const;
  void printText(const QLCZephraManager& manager) const;
};

Host PolicyCommand::open() const {
  if (!document.given() && !source.given()) {
    throw Misuse(
        "there is nothing to read from; give --service URL --product NAME with a token, --file FILE, or --document "
        "FILE");
  }
  if (!document.given()) return source.open();
  Host host = makeHost("http://localhost", "none", "none", "none");  // never asked
  host.manager->setCurrentSettings(document.tree());
  return host;
}

void PolicyCommand::printJson(const QLCZephraManager& manager) const {
  Map::Builder records;
  {
    const StandardOutputAside aside;
    for (const View& view : views) {
      if (name.empty() || name == view.name) records.set(view.name, view.json(manager));
    }
  }
  const Map all = records.build();
  printValue(name.empty() ? Value(all) : *all.find(name), output);
}

void PolicyCommand::printText(const QLCZephraManager& manager) const {
  for (const View& view : views) {
    if (!name.empty() && name != view.name) continue;
    Lines lines = view.text(manager);
    lines.front() = std::string(view.name) + ": " + lines.front();
    for (const std::string& line : lines) printLine(line);
  }
}

void PolicyCommand::run() const {
  const bool known = std::any_of(std::begin(views), std::end(views), [&](const View& one) { return name == one.name; });
  if (!name.empty() && !known) throw Misuse("there is no policy " + name + "; see qlczephra policy --help");
  const Host host = open();
  if (output.json) {
    printJson(*host.manager);
  } else {
    printText(*host.manager);
  }
}

}  // namespace

void addPolicyCommand(CLI::App& program) {
  auto command = std::make_shared<PolicyCommand>();
  CLI::App* app = program.add_subcommand("policy", "Print the policies that follow from the settings");
  app->footer(examples);
  app->add_option("NAME", command->name, "Which policy to print (default: all)");
  command->source.addTo(*app);
  CLI::Option* document = command->document.addTo(*app, "--document")->option_text("FILE");
  document->excludes("--file")->excludes("--service");
  app->get_option("--sending")->needs(document);
  app->get_option("--patch")->needs(document);
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
