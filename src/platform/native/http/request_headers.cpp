#include "platform/native/http/request_headers.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace qlczephra::platform {
namespace {

using namespace std::string_view_literals;

// They follow from the URL, the body and the connection; a second opinion on them would break the framing.
constexpr std::array protocolsOwn = {"Host"sv,       "Content-Length"sv,  "Transfer-Encoding"sv,
                                     "Connection"sv, "Upgrade"sv,         "TE"sv,
                                     "Trailer"sv,    "Accept-Encoding"sv, "Expect"sv,
                                     "Keep-Alive"sv, "Proxy-Connection"sv};
constexpr std::array addedByCurl = {"Accept"sv, "Content-Type"sv, "User-Agent"sv};

bool isTokenCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         "!#$%&'*+-.^_`|~"sv.find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, isTokenCharacter);
}

bool equalNames(std::string_view left, std::string_view right) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(left, right, {}, lower, lower);
}

bool isProtocolsOwn(std::string_view name) {
  return std::ranges::any_of(protocolsOwn, [&](std::string_view own) { return equalNames(name, own); });
}

}  // namespace

std::optional<std::vector<std::string>> requestHeaderLines(const HttpRequest& request) {
  if (!isToken(request.method)) return std::nullopt;
  std::vector<std::string> lines;
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name) || value.find_first_of("\r\n\0"sv) != std::string::npos) return std::nullopt;
    if (isProtocolsOwn(name)) continue;
    // "Name;" is how curl is told to send a field without a value; "Name:" would take the field away.
    const bool blank = value.find_first_not_of(" \t") == std::string::npos;
    std::string& line = lines.emplace_back(name);
    if (blank) {
      line += ';';
    } else {
      line.append(": ").append(value);
    }
  }
  for (const std::string_view name : addedByCurl) {
    const bool given =
        std::ranges::any_of(request.headers, [&](const auto& field) { return equalNames(field.first, name); });
    if (!given) lines.push_back(std::string(name) + ":");
  }
  lines.emplace_back("Expect:");
  return lines;
}

}  // namespace qlczephra::platform
