#include "platform/native/http/reply_reader.h"

#include <charconv>
#include <utility>

namespace qlczephra::platform {
namespace {

std::string_view withoutBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// curl has made sure that the line has the form "HTTP/1.1 200 ...".
int statusOf(std::string_view line) {
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos) return 0;
  const std::string_view rest = withoutBlanks(line.substr(blank));
  int status = 0;
  std::from_chars(rest.data(), rest.data() + rest.size(), status);
  return status;
}

constexpr int switchingProtocols = 101;

}  // namespace

bool ReplyReader::headerLine(std::string_view line) {
  headerSize_ += line.size();
  if (headerSize_ > maximumHeaderSize) {
    refusal_ = "The header of the reply is larger than 256 KiB";
    return false;
  }
  const bool emptyLine = withoutBlanks(line).empty();
  switch (state_) {
    case State::statusLine: {
      const int status = statusOf(line);
      const bool interim = status >= 100 && status < 200 && status != switchingProtocols;
      state_ = interim ? State::interimFields : State::fields;
      if (!interim) head_ = HttpReplyHead{status, {}};
      break;
    }
    case State::interimFields:
      if (emptyLine) state_ = State::statusLine;
      break;
    case State::fields:
      if (!emptyLine) {
        addField(line);
        break;
      }
      state_ = State::afterFields;
      // No protocol was offered to switch to: what follows is nothing that can be read.
      endedWell_ = head_->status == switchingProtocols;
      return !endedWell_;
    case State::afterFields:
      break;
  }
  return true;
}

bool ReplyReader::bodyData(std::string_view data) {
  if (data.size() > maximumBodySize - body_.size()) {
    refusal_ = "The body of the reply is larger than 64 MiB";
    return false;
  }
  body_.append(data);
  return true;
}

HttpOutcome ReplyReader::take() {
  return {std::exchange(head_, std::nullopt), std::exchange(body_, {}), std::nullopt};
}

void ReplyReader::addField(std::string_view line) {
  HeaderList& headers = head_->headers;
  if (line.front() == ' ' || line.front() == '\t') {  // continues the field before
    if (!headers.empty()) headers.back().second.append(" ").append(withoutBlanks(line));
    return;
  }
  const auto colon = line.find(':');
  const std::string_view name = withoutBlanks(line.substr(0, colon));
  if (colon == std::string_view::npos || name.empty()) return;
  headers.emplace_back(name, withoutBlanks(line.substr(colon + 1)));
}

}  // namespace qlczephra::platform
