// Collects a reply as it comes in, within limits.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http_session.h"

namespace qlczephra::platform {

// All header lines of one transfer together: interim replies and trailers count, and so an endless row of them ends.
inline constexpr std::size_t maximumHeaderSize = std::size_t{256} * 1024;

class ReplyReader {
 public:
  // One line with its line end: a status line, a field, the empty line after them, or a trailer's field.
  // False: the transfer must end.
  bool headerLine(std::string_view line);
  // A piece of the decoded body. False: the transfer must end.
  bool bodyData(std::string_view data);

  // Since the final reply's status line has come, with the fields that have come so far.
  [[nodiscard]] const std::optional<HttpReplyHead>& head() const { return head_; }
  // Why the reader had the transfer end; empty when it had not, or had because nothing more can come (status 101).
  [[nodiscard]] const std::string& refusal() const { return refusal_; }
  [[nodiscard]] bool endedWell() const { return endedWell_; }
  // Whether any line of a reply has come.
  [[nodiscard]] bool begun() const { return headerSize_ != 0; }
  // Whether the final reply's header has come to its end.
  [[nodiscard]] bool headComplete() const { return state_ == State::afterFields; }

  HttpOutcome take();

 private:
  enum class State { statusLine, interimFields, fields, afterFields };

  void addField(std::string_view line);

  State state_ = State::statusLine;
  std::size_t headerSize_ = 0;
  std::optional<HttpReplyHead> head_;
  std::string body_;
  std::string refusal_;
  bool endedWell_ = false;
};

}  // namespace qlczephra::platform
