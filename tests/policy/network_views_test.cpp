// Proxy settings and firewall: which record follows from which settings. The settings pass through the interpretation
// of a document.
#include <algorithm>

#include "tests/policy/view_cases.h"

namespace qlczephra::policy {
namespace {

using test::expectRecords;
using test::shownView;
using test::treeFor;
using Case = test::ViewCase;

TEST(PolicyViews, Vort2ProxySettings) {
  const Case cases[] = {
      {R"("vort2": {})", "none"},
      {R"("vort2": true)", "none"},
      {R"("other": {"proxy_type": "no_proxy"})", "none"},
      {R"("vort2": {"proxy_type": 0})", "none"},
      {R"("vort2": {"proxy_type": "NO_PROXY"})", "none"},
      {R"("vort2": {"proxy_type": "user_defined", "proxy_address": "p"})", "none"},
      {R"("vort2": {"proxy_type": "get_from_browser"})", "none"},
      {R"("vort2": {"proxy_type": "user_defined_http_proxy"})", "none"},
      {R"("vort2": {"proxy_type": "user_defined_http_proxy", "proxy_address": 5, "user_proxy": "p"})", "none"},
      {R"("vort2": {"proxy_type": "no_proxy"})",
       "<QLCVORT2Settings: httpProxy <QLCHTTPProxySettings: type none, address none>, localServerAddress none, "
       "fallbackToGlobal none>"},
      {R"("vort2": {"proxy_type": "system_http_proxy", "proxy_address": "p", "fallback_to_direct_connection": true,
                    "local_server_address": 5})",
       "<QLCVORT2Settings: httpProxy <QLCHTTPProxySettings: type system, address none>, localServerAddress none, "
       "fallbackToGlobal none>"},
      {R"("vort2": {"proxy_type": "user_defined_http_proxy", "proxy_address": "", "local_server_address": "",
                    "fallback_to_direct_connection": 1})",
       "<QLCVORT2Settings: httpProxy <QLCHTTPProxySettings: type user-defined, address \"\">, localServerAddress "
       "\"\", fallbackToGlobal none>"},
      {R"("vort2": {"proxy_type": "user_defined_http_proxy", "proxy_address": "p:1", "local_server_address": "l",
                    "fallback_to_direct_connection": false})",
       "<QLCVORT2Settings: httpProxy <QLCHTTPProxySettings: type user-defined, address \"p:1\">, localServerAddress "
       "\"l\", fallbackToGlobal false>"},
  };
  expectRecords(vort2ProxySettings, R"({"macos": {)", "}}", cases);
}

// What the view writes to standard output, line for line.
std::string writtenBy(const Map& tree, std::string& record) {
  testing::internal::CaptureStdout();
  record = shownView(pmProxySettings, tree);
  return testing::internal::GetCapturedStdout();
}

TEST(PolicyViews, PmProxySettings) {
  const struct {
    const char* settings;
    const char* record;
    int rejected;  // addresses
  } cases[] = {
      {R"("vort2": {"proxy_type": "no_proxy"})", "none", 0},
      {R"("policy_manager": {})", "none", 0},
      {R"("policy_manager": "", "vort2": {"proxy_type": "no_proxy"})", "none", 0},
      {R"("policy_manager": {"override_address": {"host": ""}}, "vort2": {"proxy_type": "system_http_proxy"})", "none",
       0},
      {R"("policy_manager": {"override_address": {"host": ""}}, "vort2": {"proxy_type": "user_defined"})", "none", 0},
      {R"("policy_manager": {}, "vort2": {"proxy_type": "no_proxy", "fallback_to_global": true})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type none, address none>, overridePMAddress none, "
       "fallbackToPM none, proxies none, fallbackToCloud none>",
       0},
      {R"("policy_manager": {"proxy_auto_selection": {"fallback_to_pms": true}},
          "vort2": {"proxy_type": "get_from_browser", "user_proxy": "p", "local_server": {"fallback_to_global": false}})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type system, address none>, overridePMAddress none, "
       "fallbackToPM true, proxies none, fallbackToCloud false>",
       0},
      {R"("policy_manager": {"override_address": {"host": "", "http_port": 1},
                             "proxy_auto_selection": {"addresses": [], "fallback_to_pms": "true"}},
          "vort2": {"proxy_type": "user_defined", "user_proxy": "p", "local_server": {"fallback_to_global": 0}})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type user-defined, address \"p\">, overridePMAddress "
       "none, fallbackToPM none, proxies [], fallbackToCloud none>",
       1},
      {R"("policy_manager": {"override_address": {"host": "h", "http_port": "80", "https_port": 443},
                             "proxy_auto_selection": {"addresses": [
                               {"host": "a", "http_port": -1, "https_port": 2.5}, {"http_port": 1}, {"host": "b"}]}},
          "vort2": {"proxy_type": "no_proxy"})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type none, address none>, overridePMAddress "
       "<QLCPMAddress: address \"h\", httpPort none, httpsPort 443>, fallbackToPM none, proxies [<QLCPMAddress: "
       "address \"a\", httpPort -1, httpsPort none>, <QLCPMAddress: address \"b\", httpPort none, httpsPort none>], "
       "fallbackToCloud none>",
       1},
      {R"("policy_manager": {"override_address": {}, "proxy_auto_selection": {"addresses": [
                               {"host": ""}, {"host": 5}, {}, {"host": "a"}]}},
          "vort2": {"proxy_type": "no_proxy"})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type none, address none>, overridePMAddress none, "
       "fallbackToPM none, proxies [<QLCPMAddress: address \"a\", httpPort none, httpsPort none>], fallbackToCloud "
       "none>",
       4},
      // One element that is no map: the list counts as missing and no address of it is looked at.
      {R"("policy_manager": {"override_address": "h", "proxy_auto_selection": {"addresses": [{"host": ""}, "b"]}},
          "vort2": {"proxy_type": "no_proxy"})",
       "<QLCPMProxySettings: httpProxy <QLCHTTPProxySettings: type none, address none>, overridePMAddress none, "
       "fallbackToPM none, proxies none, fallbackToCloud none>",
       0},
  };
  for (const auto& [settings, record, rejected] : cases) {
    std::string expectedLines;
    for (int i = 0; i < rejected; ++i) expectedLines += "returning nil here\n";
    std::string got;
    EXPECT_EQ(writtenBy(treeFor(std::string(R"({"windows": {)") + settings + "}}"), got), expectedLines) << settings;
    EXPECT_EQ(got, record) << settings;
  }
}

TEST(PolicyViews, FirewallSwitches) {
  const Case cases[] = {
      {"",
       "<QLCFirewall: systemSettings <QLCFirewallSystemSettings: enabled false, allowBuiltinsIn true, allowSignedIn "
       "true, blockAllIn false>, enabled false, currentProfileID \"\", profiles []>"},
      {R"("enabled": true, "current_profile_id": "nowhere", "system": {"incoming_connections": {"block_all": true,
          "allow_builtin": false, "allow_signed": false}})",
       "<QLCFirewall: systemSettings <QLCFirewallSystemSettings: enabled true, allowBuiltinsIn false, allowSignedIn "
       "false, blockAllIn true>, enabled false, currentProfileID \"nowhere\", profiles []>"},
      {R"("qlcfw_enabled": true, "enabled": 1, "current_profile_id": 5, "profiles": [5], "system":
          {"incoming_connections": {"block_all": "true", "allow_builtin": false, "allow_signed": 0}})",
       "<QLCFirewall: systemSettings <QLCFirewallSystemSettings: enabled false, allowBuiltinsIn false, allowSignedIn "
       "true, blockAllIn false>, enabled true, currentProfileID \"\", profiles []>"},
      {R"("profiles": {}, "system": {"incoming_connections": {"allow_signed": false}})",
       "<QLCFirewall: systemSettings <QLCFirewallSystemSettings: enabled false, allowBuiltinsIn true, allowSignedIn "
       "false, blockAllIn false>, enabled false, currentProfileID \"\", profiles []>"},
  };
  expectRecords(firewall, R"({"macos": {"firewall": {)", "}}}", cases);
  EXPECT_EQ(test::shown(firewall(Settings(nullptr))), cases[0].record) << "there are no settings at all";
}

std::string profile(const std::string& id, const std::string& rest) {
  return R"({"profile_id": ")" + id + R"(", "profile_name": "N", "default_actions": {
      "incoming": {"action": "block", "allow_builtin": true, "allow_signed": false},
      "outgoing": {"action": "allow", "allow_builtin": false, "allow_signed": true, "allow_trusted": true}})" +
         rest + "}";
}

QLCFirewall firewallWith(const std::string& profiles) {
  const Map tree = treeFor(R"({"macos": {"firewall": {"profiles": [)" + profiles + "]}}}");
  return firewall(Settings(&tree));
}

TEST(PolicyViews, FirewallProfilesThatAreLeftOut) {
  const std::string whole = profile("p", R"(, "rules": [], "certificate_validation": "per_rule")");
  const auto kept = firewallWith(whole).profiles();
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(test::shown(kept.at("p")),
            "<QLCFirewallProfile: identifier \"p\", name \"N\", defaultActionsIn <QLCFirewallDefaultActions: action "
            "block, allowBuiltin true, allowSigned false, allowTrusted false>, defaultActionsOut "
            "<QLCFirewallDefaultActions: action allow, allowBuiltin false, allowSigned true, allowTrusted true>, "
            "certificateValidation per rule, rules []>");

  // What is replaced, by what; the profile beside it always stays.
  const struct {
    const char* piece;
    const char* replacement;
    bool stays;
  } cases[] = {
      {R"("profile_id": "p")", R"("profile_id": 5)", false},
      {R"("profile_id")", R"("id")", false},
      {R"("profile_name": "N")", R"("profile_name": null)", false},
      {R"("default_actions")", R"("actions")", false},
      {R"("incoming": {)", R"("in": {)", false},
      {R"("outgoing": {)", R"("out": {)", false},
      {R"("default_actions": {)", R"("default_actions": [], "other": {)", false},
      {R"("incoming": {)", R"("incoming": "block", "other": {)", false},
      {R"("outgoing": {)", R"("outgoing": [], "other": {)", false},
      {R"("outgoing": {"action": "allow")", R"("outgoing": {"action": "Allow")", false},
      {R"("allow_signed": true)", R"("signed": true)", false},
      {R"("allow_trusted": true)", R"("allow_trusted": 1)", true},
      {R"("incoming": {"action": "block", "allow_builtin": true)",
       R"("incoming": {"action": "block", "allow_builtin": 1)", false},
      {R"("rules": [])", R"("rules": {})", false},
      {R"("rules": [])", R"("rules": [{}, 5])", false},
      {R"("rules": [])", R"("no_rules": [])", false},
      {R"("rules": [])", R"("rules": [{}])", true},
      {R"("per_rule")", R"("per rule")", true},
  };
  for (const auto& [piece, replacement, stays] : cases) {
    std::string changed = whole;
    const std::size_t at = changed.find(piece);
    ASSERT_NE(at, std::string::npos) << piece;
    changed.replace(at, std::string(piece).size(), replacement);
    const auto profiles = firewallWith(changed + ", " + profile("other", R"(, "rules": [])")).profiles();
    EXPECT_EQ(profiles.count("p"), stays ? 1U : 0U) << replacement;
    EXPECT_EQ(profiles.count("other"), 1U) << replacement;
  }

  std::string trusted = whole;
  trusted.replace(trusted.find(R"("allow_trusted": true)"), 21, R"("allow_trusted": 1)");
  const auto untrusting = firewallWith(trusted).profiles();
  EXPECT_EQ(untrusting.at("p").defaultActionsOut(),
            QLCFirewallDefaultActions(QLCFirewallActionAllow, false, true, false))
      << "a number is no boolean, and only this one field has a default";

  const auto twice = firewallWith(whole + ", " + profile("p", R"(, "rules": [], "certificate_validation": 2)"));
  ASSERT_EQ(twice.profiles().size(), 1U);
  EXPECT_EQ(twice.profiles().at("p").certificateValidation(), QLCFirewallCertificateValidationAll)
      << "the later of two profiles with one identifier stays, with the default for a missing word";
  EXPECT_TRUE(firewallWith(whole + ", 5").profiles().empty()) << "one element that is no map discards the list";
}

TEST(PolicyViews, FirewallRulesThatAreLeftOut) {
  const std::string whole = R"({"enabled": true, "name": "R", "action": "allow", "direction": "out",
      "signing_id_list": ["b", "a", "b"], "team_id_list": [], "certificate_validation": "distribution",
      "description": "D"})";
  const char* const wholeShown =
      "<QLCFirewallRule: name \"R\", descr \"D\", action allow, direction out, signingIDs [\"a\", \"b\"], teamIDs [], "
      "certificateValidation distribution>";
  const struct {
    const char* piece;
    const char* replacement;
    const char* rule;  // null: left out
  } cases[] = {
      {"", "", wholeShown},
      {R"("enabled": true)", R"("enabled": false)", nullptr},
      {R"("enabled": true)", R"("enabled": 1)", nullptr},
      {R"("enabled": true, )", "", nullptr},
      {R"("name": "R")", R"("name": 5)", nullptr},
      {R"("action": "allow")", R"("action": "ALLOW")", nullptr},
      {R"("direction": "out")", R"("direction": "both")", nullptr},
      {R"("direction": "out")", R"("direction": 1)", nullptr},
      {R"(["b", "a", "b"])", R"(["b", 5])", nullptr},
      {R"(["b", "a", "b"])", R"("b")", nullptr},
      {R"("team_id_list": [],)", "", nullptr},
      {R"("distribution")", R"("none")",
       "<QLCFirewallRule: name \"R\", descr \"D\", action allow, direction out, signingIDs [\"a\", \"b\"], teamIDs [], "
       "certificateValidation all>"},
      {R"("description": "D")", R"("description": 5)",
       "<QLCFirewallRule: name \"R\", descr none, action allow, direction out, signingIDs [\"a\", \"b\"], teamIDs [], "
       "certificateValidation distribution>"},
  };
  for (const auto& [piece, replacement, rule] : cases) {
    std::string changed = whole;
    changed.replace(changed.find(piece), std::string(piece).size(), replacement);
    const auto made = firewallWith(profile("p", R"(, "rules": [)" + changed + ", " + whole + "]")).profiles();
    std::vector<std::string> expected = {wholeShown};
    if (rule != nullptr) expected.insert(expected.begin(), rule);
    std::vector<std::string> got;
    for (const QLCFirewallRule& one : made.at("p").rules()) got.push_back(test::shown(one));
    EXPECT_EQ(got, expected) << replacement;
  }
}

}  // namespace
}  // namespace qlczephra::policy
