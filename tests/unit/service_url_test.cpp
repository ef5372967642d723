// Service URLs: base, product name and resource put together.
#include "transport/service_url.h"

#include <gtest/gtest.h>

#include "qlczephra/app_info.h"

namespace qlczephra::transport {
namespace {

constexpr const char* api = "/zephra/client-api/v3/clients/me/products/";

TEST(ServiceURL, AppendsToEveryFormOfABase) {
  struct Case {
    const char* base;
    const char* before;  // what stands before the path of the interface
  };
  const Case cases[] = {
      {"http://a.test", "http://a.test"},
      {"http://a.test/", "http://a.test"},
      {"https://a.test:8443/x", "https://a.test:8443/x"},
      {"https://a.test/x/", "https://a.test/x"},
      {"https://a.test/x//", "https://a.test/x/"},
      {"HTTPS://A.test/%20", "HTTPS://A.test/%20"},
      {"http://a.test?q=1", "http://a.test"},
      {"http://a.test/x?q=/y#f", "http://a.test/x"},
      {"http://a.test#f?q", "http://a.test"},
      {"http://user:p@a.test/", "http://user:p@a.test"},
      {"http://[::1]:80", "http://[::1]:80"},
  };
  const QLCAppInfo info("corlane", "U");
  for (const auto& [base, before] : cases) {
    EXPECT_EQ(info.zephraSettingsURL(base), std::string(before) + api + "corlane/settings") << base;
    EXPECT_EQ(info.zephraNodeURL(base), std::string(before) + api + "corlane/node") << base;
  }
}

TEST(ServiceURL, ProductNameIsOneSegment) {
  struct Case {
    std::string product;
    const char* segment;  // null: no URL
  };
  const Case cases[] = {
      {"a b", "a%20b"},
      {"a/b", "a%2Fb"},
      {"a?b#c", "a%3Fb%23c"},
      {"50%", "50%25"},
      {"%2F", "%252F"},
      {"-._~!$&'()*+,;=:@", "-._~!$&'()*+,;=:@"},
      {"\"<>[\\]^`{|}", "%22%3C%3E%5B%5C%5D%5E%60%7B%7C%7D"},
      {"\xC3\xBC", "%C3%BC"},
      {std::string("\0\r\n\x7F", 4), "%00%0D%0A%7F"},
      {"...", "..."},
      {".a", ".a"},
      {"", nullptr},
      {".", nullptr},
      {"..", nullptr},
  };
  QLCAppInfo info("first", "U");
  for (const auto& [product, segment] : cases) {
    info.setProductName(product);
    std::string expected;
    if (segment != nullptr) expected.append("http://a.test").append(api).append(segment).append("/settings");
    EXPECT_EQ(info.zephraSettingsURL("http://a.test"), expected);
  }
}

TEST(ServiceURL, BasesThatAreNone) {
  const std::string cases[] = {
      "",
      "a.test",
      "//a.test",
      "http:a.test",
      "http:/a.test",
      "http://",
      "http:///x",
      "http://?q",
      "http://:80",
      "http://user@",
      "http://user@:80/",
      "ftp://a.test",
      "file:///etc/passwd",
      " http://a.test",
      "http://a.test/ x",
      "http://a.test/\n",
      std::string("http://a.test/\0", 15),
      "http://a.test/\x7F",
      "http://\xC3\xBC.test",
  };
  for (const std::string& base : cases) {
    EXPECT_FALSE(isSendableURL(base)) << base;
    EXPECT_EQ(serviceURL(base, "api", "p", "leaf"), "") << base;
  }
}

}  // namespace
}  // namespace qlczephra::transport
