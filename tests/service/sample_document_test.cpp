// The built-in sample has a schema and values for every setting that the policy areas are made of.
#include "service/sample_document.h"

#include "service_fixture.h"

namespace qlczephra::service {
namespace {

const Value* below(const Value* value, std::string_view key) {
  return value == nullptr || value->map() == nullptr ? nullptr : value->map()->find(key);
}

// The schema of the setting at a dotted path, or null.
const Value* schemaAt(const Value& document, std::string path) {
  const Value* schema = below(below(&document, "data"), "eff_schema");
  path += '.';
  for (bool first = true; !path.empty(); first = false) {
    const std::size_t dot = path.find('.');
    schema = below(first ? schema : below(schema, "properties"), path.substr(0, dot));
    path.erase(0, dot + 1);
  }
  return schema;
}

TEST(SampleDocument, DescribesEveryPolicyArea) {
  const Value document = parsed(sampleDocument());
  const struct {
    const char* path;
    const char* type;
  } cases[] = {
      {"common.time.enabled", "boolean"},
      {"common.time.curfew.sunday.ranges", "array"},
      {"common.time.curfew.options.school_nights.range.until", "integer"},
      {"common.time.curfew.options.weekends.enabled", "boolean"},
      {"common.time.quota.monday.duration", "integer"},
      {"common.sites.list", "array"},
      {"common.content.allowed_categories.gambling", "boolean"},
      {"macos.scheduled_scanning.start_time.hours", "integer"},
      {"macos.scheduled_scanning.scan_frequency.weekly_frequency.sunday", "boolean"},
      {"macos.scheduled_scanning.scan_frequency.monthly_frequency.days", "array"},
      {"macos.vort2.proxy_address", "string"},
      {"macos.vort2.fallback_to_direct_connection", "boolean"},
      {"macos.firewall.profiles", "array"},
      {"macos.firewall.system.incoming_connections.allow_signed", "boolean"},
      {"windows.policy_manager.override_address.https_port", "integer"},
      {"windows.policy_manager.proxy_auto_selection.addresses", "array"},
      {"windows.vort2.user_proxy", "string"},
      {"windows.vort2.local_server.fallback_to_global", "boolean"},
  };
  for (const auto& test : cases) {
    const Value* schema = schemaAt(document, test.path);
    const Value* type = below(schema, "type");
    ASSERT_NE(type, nullptr) << test.path;
    EXPECT_EQ(type->string(), test.type) << test.path;
  }
  for (const char* section : {"common", "macos", "windows"}) {
    EXPECT_NE(below(below(below(&document, "data"), "values"), section), nullptr) << section;
  }
}

}  // namespace
}  // namespace qlczephra::service
