// A strict pull reader for the XML that property lists are made of: one UTF-8 document, no internal subset, so that no
// entity but the five predefined ones exists and nothing outside the text is ever looked up.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qlczephra::plist {

struct Tag {
  enum class Kind { start, empty, end } kind;
  std::string_view name;
};

// Each operation goes on where the one before stopped. After a failure error() tells why, and no further call is made.
// The text outlives the scanner and all that it gave.
class XmlScanner {
 public:
  static constexpr const char* noText = "not valid utf-8, or a character that xml forbids";

  explicit XmlScanner(std::string_view text) : rest_(text) {}

  // In lower case, without the document's content; null as long as nothing failed.
  [[nodiscard]] const char* error() const noexcept { return error_; }

  // What is still to read. Another may read on from there, as far as it answers for the characters itself.
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }
  void goOnWith(std::string_view rest) noexcept { rest_ = rest; }

  // Passes these characters if they come next.
  bool takeIf(std::string_view wanted) noexcept {
    if (!rest_.starts_with(wanted)) return false;
    rest_.remove_prefix(wanted.size());
    return true;
  }

  // All that stands before the root element, whose name `root` the document type, if there is one, must bear.
  bool readProlog(std::string_view root);

  // The next tag, before which only white space, comments and processing instructions may stand.
  std::optional<Tag> readTag();

  // Passes this end tag if it comes next, written as nearly always: nothing before it and no blank inside.
  bool takeEndTag(std::string_view name) noexcept;

  // The character data up to the next tag: references resolved, line ends made line feeds, CDATA sections included,
  // comments and processing instructions left out. Good until the next readText().
  std::optional<std::string_view> readText();

  // True when nothing but white space, comments and processing instructions is left.
  bool readEpilog();

 private:
  bool fail(const char* reason) noexcept {
    error_ = reason;
    return false;
  }
  bool isText();               // all that is still to read is well-formed and allowed; looked at once
  bool skipBlanks() noexcept;  // true when there were any
  // Passes everything up to and with `end`.
  std::optional<std::string_view> takeUntil(std::string_view end) noexcept;

  bool skipMisc();     // white space, comments, processing instructions
  bool skipComment();  // this and the next one from behind the opening "<!--" or "<?"
  bool skipInstruction();
  bool readDeclaration();
  bool readDocumentType(std::string_view root);
  std::optional<std::string_view> readQuoted();

  struct Attribute {
    std::string_view name, value;  // the value as it stands, references not resolved
  };
  std::optional<Attribute> readAttribute();
  bool readAttributes();  // up to the tag's end

  void appendLines(std::string_view characters);
  bool appendReference();
  bool readTextInPieces();

  std::string_view rest_;
  bool isKnownText_ = false;
  const char* error_ = nullptr;
  std::string text_;
  std::vector<std::string_view> attributes_;
};

}  // namespace qlczephra::plist
