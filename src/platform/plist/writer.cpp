#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "platform/plist/plist.h"
#include "platform/plist/xml_characters.h"
#include "value/number_text.h"
#include "value/short_copy.h"
#include "value/walk.h"

namespace qlczephra::plist {

namespace {

constexpr std::string_view heading =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view ending = "</plist>\n";

// What stands for a character that would not come back as itself; nothing for one that the format cannot hold.
constexpr std::string_view escapeOf(char byte) noexcept {
  switch (byte) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    default:
      return {};
  }
}

// Collects the text in a block on the stack, which is handed on when it is full: most pieces are a few bytes long, and
// a string would check and count for each.
class Output {
 public:
  explicit Output(std::size_t expectedSize) { text_.reserve(expectedSize); }

  // At least so many bytes can be written at the place that it gives, and 16 more may be touched; advance() says how
  // many were.
  char* room(std::size_t size) {
    if (size > capacity - used_) handOn();
    return block_.data() + used_;
  }
  void advance(std::size_t size) noexcept { used_ += size; }

  template <std::size_t size>
  void put(const char (&literal)[size]) {
    std::memcpy(room(size), literal, size - 1);
    advance(size - 1);
  }
  void put(std::string_view piece) {
    if (piece.size() <= capacity / 2) {
      piece.copy(room(piece.size()), piece.size());
      advance(piece.size());
    } else {
      handOn();
      text_ += piece;
    }
  }
  void fill(std::size_t count, char byte) {
    std::memset(room(count), byte, count);
    advance(count);
  }
  [[nodiscard]] std::string take() && {
    handOn();
    return std::move(text_);
  }

 private:
  static constexpr std::size_t capacity = 16384;
  static_assert(capacity > maximumNesting);  // of which fill() may have to make tabs

  void handOn() {
    text_.append(block_.data(), used_);
    used_ = 0;
  }

  std::string text_;
  std::size_t used_ = 0;
  std::array<char, capacity + 16> block_;  // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
};

class Writer {
 public:
  explicit Writer(std::size_t expectedSize) : output_(expectedSize) { output_.put(heading); }

  [[nodiscard]] std::string take() && {
    output_.put(ending);
    return std::move(output_).take();
  }

  bool scalar(const Value& value) {
    indent();
    switch (value.kind()) {
      case Value::Kind::boolean:
        *value.boolean() ? output_.put("<true/>\n") : output_.put("<false/>\n");
        return true;
      case Value::Kind::integer:
        output_.put("<integer>");
        if (const auto integer = value.integer()) {
          putInteger(*integer);
        } else {
          putInteger(*value.unsignedInteger());
        }
        output_.put("</integer>\n");
        return true;
      case Value::Kind::real: {
        if (!std::isfinite(*value.real())) return false;
        std::string number;
        appendReal(number, *value.real());
        output_.put("<real>");
        output_.put(number);
        output_.put("</real>\n");
        return true;
      }
      case Value::Kind::string:
        output_.put("<string>");
        if (!putEscaped(*value.string())) return false;
        output_.put("</string>\n");
        return true;
      default:
        return false;
    }
  }

  bool key(std::string_view key) {
    indent();
    output_.put("<key>");
    if (!putEscaped(key)) return false;
    output_.put("</key>\n");
    return true;
  }

  bool begin(const Value& container) {
    indent();
    container.map() != nullptr ? output_.put("<dict>\n") : output_.put("<array>\n");
    ++depth_;
    return true;
  }

  bool end(const Value& container) {
    --depth_;
    indent();
    container.map() != nullptr ? output_.put("</dict>\n") : output_.put("</array>\n");
    return true;
  }

 private:
  using Special = bytes::Either<NotPlain, bytes::AnyOf<'&', '<', '>', '\r'>>;

  void indent() {
    constexpr char tabs[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    constexpr std::size_t few = sizeof tabs - 1;
    if (depth_ > few) return output_.fill(depth_, '\t');
    // A store of fixed size, whatever counts of it.
    std::memcpy(output_.room(few), tabs, few);
    output_.advance(depth_);
  }

  template <typename Integer>
  void putInteger(Integer integer) {
    constexpr std::size_t longest = 20;
    char* const first = output_.room(longest);
    output_.advance(static_cast<std::size_t>(std::to_chars(first, first + longest, integer).ptr - first));
  }

  bool putEscaped(std::string_view content) {
    // Nearly all are short and plain: copied first, they can be looked at in blocks of 16 bytes whatever stands behind.
    constexpr std::size_t shortLength = 64;
    if (content.size() <= shortLength) {
      char* const copy = output_.room(shortLength);
      copyMedium(content.data(), content.size(), copy);
      std::memset(copy + content.size(), ' ', 16);
      const std::size_t blocks = (content.size() + 15) / 16 * 16;
      if (findFirst<Special>(copy, copy + blocks) == copy + blocks) {
        output_.advance(content.size());
        return true;
      }
    }
    return putPieces(content);
  }

  bool putPieces(std::string_view content) {
    const char* const last = content.data() + content.size();
    for (const char* run = content.data();;) {
      const char* at = findFirst<Special>(run, last);
      while (at != last && bytes::NonAscii::has(*at)) {
        const std::size_t length = characterLength(at, last);
        if (length == 0) return false;
        at = findFirst<Special>(at + length, last);
      }
      output_.put(std::string_view(run, at));
      if (at == last) return true;
      const std::string_view escape = escapeOf(*at++);
      if (escape.empty()) return false;
      output_.put(escape);
      run = at;
    }
  }

  Output output_;
  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::string> write(const Value& value, std::size_t expectedSize) {
  if (value.nesting() > maximumNesting) return std::nullopt;
  Writer writer(expectedSize);
  if (!walk(value, writer)) return std::nullopt;
  return std::move(writer).take();
}

}  // namespace qlczephra::plist
