// Values in a file: they outlive the service, and a change that cannot be saved is no change.
#include "service/values_file.h"

#include <stdlib.h>

#include <filesystem>

#include "service/files.h"
#include "service_fixture.h"

namespace qlczephra::service {
namespace {

class ValuesFile : public testing::Test {
 protected:
  ValuesFile() { EXPECT_NE(::mkdtemp(directory_.data()), nullptr); }
  ~ValuesFile() override { std::filesystem::remove_all(directory_); }

  // A service as the program starts it: with what the file holds.
  std::unique_ptr<Service> started() {
    ServiceOptions options;
    options.valuesWriter = valuesFileWriter(path());
    options.savedValues = std::get<Map>(readValuesFile(path()));
    auto service = std::make_unique<Service>(std::move(options));
    EXPECT_TRUE(service->store().restoreDocument("corlane", *parsed(smallDocument).map()));
    return service;
  }
  std::string path() const { return directory_ + "/values.json"; }

  std::string directory_ = testing::TempDir() + "/values-XXXXXX";
};

TEST_F(ValuesFile, OutlivesTheService) {
  const ServiceRequest change = request("PATCH", settingsPath(), R"({"values": {"common": {"a": 8}}})");
  std::string tag;
  {
    const auto first = started();
    EXPECT_TRUE(first->store().setDocument("other", *parsed(smallDocument).map()));
    EXPECT_EQ(first->handle(change).status, 200);
    tag = tagOf(first->handle(request("GET", settingsPath())));
  }
  const auto second = started();
  EXPECT_EQ(Value(*second->store().values("corlane")), parsed(R"({"common": {"a": 8, "group": {"b": 2}}})"));
  // Revisions are counted anew, and still an old tag must not stand for another content.
  (void)second->handle(request("PATCH", settingsPath(), R"({"values": {"common": {"a": 9}}})"));
  EXPECT_EQ(second->handle(request("GET", settingsPath(), "", {{"If-None-Match", tag}})).status, 200);
  EXPECT_EQ(std::get<Map>(readValuesFile(path())).size(), 2U);
}

TEST_F(ValuesFile, RefusesAChangeThatCannotBeSaved) {
  const auto service = started();
  const std::string tag = tagOf(service->handle(request("GET", settingsPath())));
  std::filesystem::remove_all(directory_);
  const ServiceReply reply = service->handle(request("PATCH", settingsPath(), R"({"values": {"common": {"a": 8}}})"));
  EXPECT_EQ(reply.status, 500);
  EXPECT_EQ(service->handle(request("GET", settingsPath(), "", {{"If-None-Match", tag}})).status, 304);
}

TEST_F(ValuesFile, IsRefusedWhenItIsNotWhatItShouldBe) {
  for (const char* content : {"", "{", "[]"}) {
    ASSERT_TRUE(replaceFile(path(), content));
    EXPECT_TRUE(std::holds_alternative<ValuesFileError>(readValuesFile(path()))) << content;
  }
}

}  // namespace
}  // namespace qlczephra::service
