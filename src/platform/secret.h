// Texts that must not stay in memory once nobody uses them: tokens.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace qlczephra::platform {

// Overwrites the text, which is then empty.
inline void wipe(std::string& text) noexcept {
  explicit_bzero(text.data(), text.size());
  text.clear();
}

// A secret text, shared by all its copies and wiped when the last of them goes.
class Secret {
 public:
  Secret() : Secret(std::string()) {}
  explicit Secret(std::string text) : text_(std::make_shared<Text>(text)) { wipe(text); }
  [[nodiscard]] const std::string& text() const noexcept { return text_->text; }

 private:
  struct Text {
    // Copied, since a short text that is moved leaves its bytes behind.
    explicit Text(const std::string& secret) : text(secret) {}  // NOLINT(modernize-pass-by-value)
    ~Text() { wipe(text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    std::string text;
  };
  std::shared_ptr<const Text> text_;
};

}  // namespace qlczephra::platform
