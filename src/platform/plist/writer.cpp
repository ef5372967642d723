#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/plist/heading.h"
#include "platform/plist/plist.h"
#include "platform/plist/xml_characters.h"
#include "text/number_format.h"
#include "value/container_view.h"

namespace qlczephra::plist {

namespace {

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
  static constexpr std::size_t capacity = 16384;

  explicit Output(std::size_t expectedSize) { text_.reserve(expectedSize); }

  // A place for so many bytes, at most `capacity`; endAt() says where they ended.
  char* room(std::size_t size) {
    if (size > static_cast<std::size_t>(block_.data() + capacity - end_)) handOn();
    return end_;
  }
  void endAt(char* end) noexcept { end_ = end; }

  void put(std::string_view piece) {
    if (piece.size() <= capacity) {
      char* const place = room(piece.size());
      endAt(place + piece.copy(place, piece.size()));
    } else {
      handOn();
      text_ += piece;
    }
  }
  [[nodiscard]] std::string take() && {
    handOn();
    return std::move(text_);
  }

 private:
  void handOn() {
    text_.append(block_.data(), end_);
    end_ = block_.data();
  }

  std::string text_;
  std::array<char, capacity> block_;  // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
  char* end_ = block_.data();         // of what is in the block
};

// ---- pieces of a line, each put at a place with room for it; they give where they end

template <std::size_t size>
char* literal(char* to, const char (&text)[size]) noexcept {
  std::memcpy(to, text, size - 1);
  return to + size - 1;
}

constexpr std::size_t block = 16;

// May touch 16 bytes more.
char* tabs(char* to, std::size_t count) noexcept {
  char* const end = to + count;
  do {
    std::memset(to, '\t', block);
    to += block;
  } while (to < end);
  return end;
}

// Without a branch, which would be guessed wrong half of the time.
char* truth(char* to, bool boolean) noexcept {
  static constexpr char texts[2][block] = {"<false/>\n", "<true/>\n"};
  std::memcpy(to, texts[std::size_t{boolean}], block);
  return to + 9 - std::size_t{boolean};
}

template <typename Integer>
char* number(char* to, Integer integer) noexcept {
  constexpr std::size_t longest = 20;
  return std::to_chars(to, to + longest, integer).ptr;
}

// Bytes that do not stand for themselves, or need a second look.
using Special = bytes::Either<bytes::ControlOrNonAscii, bytes::AnyOf<'&', '<', '>'>>;

// Text of less than a block, which stands at the beginning of its Value, so that a whole block can be read and is put.
// Null when there is a special byte in it.
char* shortText(char* to, std::string_view text) noexcept {
  static_assert(sizeof(Value) == block);
  std::memcpy(to, text.data(), block);
  const std::uint32_t ofText = (1U << text.size()) - 1;
  return (bitsOf<Special>(text.data()) & ofText) == 0 ? to + text.size() : nullptr;
}

// The same for text of a block and more.
char* longText(char* to, std::string_view text) noexcept {
  const char* from = text.data();
  const char* const lastBlock = from + text.size() - block;
  char* const end = to + text.size();
  std::uint32_t found = bitsOf<Special>(lastBlock);
  std::memcpy(end - block, lastBlock, block);
  for (; from < lastBlock; from += block, to += block) {
    found |= bitsOf<Special>(from);
    std::memcpy(to, from, block);
  }
  return found == 0 ? end : nullptr;
}

class Writer {
 public:
  explicit Writer(std::size_t expectedSize) : output_(expectedSize) {}

  std::optional<std::string> write(const Value& value) {
    output_.put(heading);
    if (!putValue(value)) return std::nullopt;
    output_.put(ending);
    return std::move(output_).take();
  }

 private:
  // Room for the tags of a key and a value, a short key, a number or short text, and what is touched behind them.
  static constexpr std::size_t member = 128;

  // What of a list or map is still to come.
  struct Members {
    Members() = default;
    Members(ContainerView content, bool isOfMap) noexcept
        : next(content.first), last(content.first + content.count), isMap(isOfMap) {}
    const Value* next = nullptr;
    const Value* last = nullptr;
    bool isMap = false;  // a key stands before each value
  };

  bool putValue(const Value& root) {
    std::vector<Members> around(root.nesting());
    std::size_t depth = 0;
    Members members({&root, 1}, false);
    for (;;) {
      if (members.next == members.last) {
        if (depth == 0) return true;
        --depth;
        char* const to = tabs(output_.room(member + depth), depth);
        output_.endAt(members.isMap ? literal(to, "</dict>\n") : literal(to, "</array>\n"));
        members = around[depth];
        continue;
      }
      const std::size_t room = member + 2 * depth;
      char* to = output_.room(room);
      if (members.isMap) {
        fetchAhead(members.next, members.last);
        to = putText(literal(tabs(to, depth), "<key>"), *(members.next++)->string(), room);
        if (to == nullptr) return false;
        to = literal(to, "</key>\n");
      }
      const Value& value = *members.next++;
      to = tabs(to, depth);
      switch (value.kind()) {
        case Value::Kind::boolean:
          to = truth(to, *value.boolean());
          break;
        case Value::Kind::integer: {
          to = literal(to, "<integer>");
          const auto integer = value.integer();
          to = integer ? number(to, *integer) : number(to, *value.unsignedInteger());
          to = literal(to, "</integer>\n");
          break;
        }
        case Value::Kind::real:
          to = putReal(to, *value.real());
          if (to == nullptr) return false;
          break;
        case Value::Kind::string:
          to = putText(literal(to, "<string>"), *value.string(), room);
          if (to == nullptr) return false;
          to = literal(to, "</string>\n");
          break;
        case Value::Kind::list:
          to = literal(to, "<array>\n");
          around[depth++] = members;
          members = Members(viewOf(*value.list()), false);
          break;
        case Value::Kind::map:
          to = literal(to, "<dict>\n");
          around[depth++] = members;
          members = Members(viewOf(*value.map()), true);
          break;
        case Value::Kind::null:
          return false;
      }
      output_.endAt(to);
    }
  }

  // Has the memory fetched that is looked at soon: nearly all members of a large map are maps, each in a place of its
  // own. Always inlined, because a function that does nothing else is taken for one that does nothing at all.
  [[gnu::always_inline]] static void fetchAhead(const Value* next, const Value* last) noexcept {
    constexpr std::uintptr_t farAhead = 16 * sizeof(Value);
    constexpr std::ptrdiff_t ahead = 2;
    // There may be nothing any more, which to prefetch does no harm.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): never followed
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(next) + farAhead));
    if (last - next <= ahead) return;
    if (const Map* soon = next[ahead + 1].map(); soon != nullptr && !soon->empty()) {
      __builtin_prefetch(&soon->begin().sharedKey());
    }
  }

  // Puts `text` with what must be escaped; gives where it ended, with so much room behind it again, or null when the
  // format cannot hold it.
  char* putText(char* to, std::string_view text, std::size_t room) {
    if (text.size() < block) {
      if (char* const end = shortText(to, text)) return end;
    }
    return putOtherText(to, text, room);
  }

  char* putOtherText(char* to, std::string_view text, std::size_t room) {
    constexpr std::size_t mostAtOnce = 4096;
    static_assert(mostAtOnce + member + 2 * maximumNesting <= Output::capacity);
    output_.endAt(to);
    if (text.size() >= block && text.size() <= mostAtOnce) {
      if (char* const end = longText(output_.room(text.size() + room), text)) return end;
    }
    if (!putPieces(text)) return nullptr;
    return output_.room(room);
  }

  bool putPieces(std::string_view text) {
    const char* const last = text.data() + text.size();
    for (const char* run = text.data();;) {
      const char* at = findFirst<Special>(run, last);
      while (at != last && (bytes::NonAscii::has(*at) || *at == '\t' || *at == '\n')) {
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

  static char* putReal(char* to, double real) {
    if (!std::isfinite(real)) return nullptr;
    std::string text;
    appendReal(text, real);
    to = literal(to, "<real>");
    to += text.copy(to, text.size());
    return literal(to, "</real>\n");
  }

  Output output_;
};

}  // namespace

std::optional<std::string> write(const Value& value, std::size_t expectedSize) {
  if (value.nesting() > maximumNesting) return std::nullopt;
  return Writer(expectedSize).write(value);
}

}  // namespace qlczephra::plist
