#include "transport/service_url.h"

#include <algorithm>
#include <array>

#include "text/ascii.h"

namespace qlczephra::transport {

namespace {

constexpr std::array<std::string_view, 2> schemes = {"http://", "https://"};

// What RFC 3986 allows in a path segment as it stands (pchar).
bool isSegmentCharacter(char c) noexcept {
  constexpr std::string_view others = "-._~!$&'()*+,;=:@";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         others.find(c) != std::string_view::npos;
}

void appendSegment(std::string& url, std::string_view segment) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const char c : segment) {
    if (isSegmentCharacter(c)) {
      url += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      url += '%';
      url += digits[byte >> 4U];
      url += digits[byte & 0x0FU];
    }
  }
}

}  // namespace

bool isSendableURL(std::string_view url) noexcept {
  const bool visible = std::all_of(url.begin(), url.end(), [](char c) { return c > 0x20 && c < 0x7F; });
  if (!visible) return false;
  for (const std::string_view scheme : schemes) {
    if (!ascii::equalIgnoringCase(url.substr(0, scheme.size()), scheme)) continue;
    const std::string_view rest = url.substr(scheme.size());
    const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
    const std::string_view host = authority.substr(authority.rfind('@') + 1);
    return !host.empty() && host.front() != ':';
  }
  return false;
}

std::string serviceURL(std::string_view base, std::string_view api, std::string_view product, std::string_view leaf) {
  if (!isSendableURL(base) || product.empty() || product == "." || product == "..") return {};
  std::string url(base.substr(0, base.find_first_of("?#")));
  if (url.back() != '/') url += '/';
  url += api;
  for (const std::string_view segment : {product, leaf}) {
    url += '/';
    appendSegment(url, segment);
  }
  return url;
}

}  // namespace qlczephra::transport
