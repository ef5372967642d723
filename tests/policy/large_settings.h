// Large settings for the policy views.
#pragma once

#include <sstream>
#include <string>

namespace qlczephra::test {

inline constexpr int profileCount = 20;
inline constexpr int rulesPerProfile = 50;
inline constexpr int siteCount = 3000;

// The JSON of settings that every policy view makes a large record of, among other settings that none looks at.
inline std::string largeSettings(int otherSettings, int profiles = profileCount, int sites = siteCount) {
  std::ostringstream json;
  json << R"({"common": {"time": {"enabled": true, "curfew": {"enabled": true, "options": {
      "school_nights": {"enabled": true, "range": {"from": 1200, "until": 360}},
      "weekends": {"enabled": true, "range": {"from": 1380, "until": 480}}})";
  for (const char* day : {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"}) {
    json << ", \"" << day << R"(": {"ranges": [{"from": 0, "until": 390}, {"from": 1260, "until": 1440}]})";
  }
  json << R"(}, "quota": {"enabled": true)";
  for (const char* day : {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"}) {
    json << ", \"" << day << R"(": {"enabled": true, "duration": 90})";
  }
  json << R"(}}, "content": {"enabled": true, "allowed_categories": {)";
  for (int i = 0; i < 40; ++i) json << (i == 0 ? "" : ", ") << "\"category_with_a_long_name_" << i << "\": true";
  json << R"(}}, "other": {"first": 0)";
  for (int i = 0; i < otherSettings; ++i) json << ", \"setting_" << i << "\": \"the value of setting " << i << '"';
  json << R"(}, "sites": {"enabled": true, "list": [)";
  for (int i = 0; i < sites; ++i) {
    json << (i == 0 ? "" : ", ") << R"({"url": "https://site-)" << i << R"(.example/", "allowed": )"
         << (i % 3 == 0 ? "true}" : "false}");
  }
  json << R"(]}}, "macos": {"scheduled_scanning": {"enabled": true, "start_time": {"hours": 1, "minutes": 2},
      "scan_frequency": {"frequency": "weekly", "weekly_frequency": {"monday": true, "sunday": true}}},
      "vort2": {"proxy_type": "user_defined_http_proxy", "proxy_address": "proxy.example.com:3128",
                "local_server_address": "a-local-server.example.com", "fallback_to_direct_connection": true},
      "firewall": {"enabled": true, "qlcfw_enabled": true, "current_profile_id": "profile-with-a-long-name-1",
                   "profiles": [)";
  const char* const actions = R"({"action": "block", "allow_builtin": true, "allow_signed": true})";
  for (int profile = 0; profile < profiles; ++profile) {
    json << (profile == 0 ? "" : ", ") << R"({"profile_id": "profile-with-a-long-name-)" << profile
         << R"(", "profile_name": "The name of profile )" << profile << R"(", "default_actions": {"incoming": )"
         << actions << R"(, "outgoing": )" << actions << R"(}, "rules": [)";
    for (int rule = 0; rule < rulesPerProfile; ++rule) {
      json << (rule == 0 ? "" : ", ") << R"({"enabled": true, "name": "The name of rule )" << rule
           << R"(", "action": "allow", "direction": "all", "signing_id_list": ["com.example.program.)" << rule
           << R"(", "com.example.program.helper"], "team_id_list": ["TEAM000001"], "description": "What rule )" << rule
           << R"( is good for"})";
    }
    json << "]}";
  }
  json << R"(]}}, "windows": {"policy_manager": {"override_address": {"host": "policy-manager.example.com"},
      "proxy_auto_selection": {"fallback_to_pms": true, "addresses": [{"host": "relay-1.office.example.com"},
                                                                      {"host": "relay-2.office.example.com"}]}},
      "vort2": {"proxy_type": "user_defined", "user_proxy": "proxy.example.com:3128",
                "local_server": {"fallback_to_global": true}}}})";
  return json.str();
}

}  // namespace qlczephra::test
