#include "benchmarks/support/documents.h"

#include <iterator>
#include <random>
#include <string_view>
#include <utility>

namespace qlczephra::bench {

namespace {

using Random = std::mt19937_64;

// std::uniform_int_distribution differs between libraries; documents must not.
std::size_t below(Random& random, std::size_t bound) {
  return static_cast<std::size_t>(random() % bound);
}

constexpr std::string_view words[] = {"allowed",   "blocked", "browser",  "category", "device",   "enabled", "engine",
                                      "exclusion", "filter",  "interval", "level",    "limit",    "message", "network",
                                      "notify",    "policy",  "protocol", "quota",    "realtime", "report",  "schedule",
                                      "server",    "session", "traffic",  "update",   "warning"};

// What a schema says to people; nobody reads it here.
std::string descriptionOf(Random& random) {
  std::string text(words[below(random, std::size(words))]);
  while (text.size() < 60) text.append(" ").append(words[below(random, std::size(words))]);
  return text;
}

std::string nameOf(Random& random, std::size_t number) {
  std::string name(words[below(random, std::size(words))]);
  if (below(random, 3) == 0) name.append("_").append(words[below(random, std::size(words))]);
  return name + "_" + std::to_string(number);
}

// The two halves of a document are written side by side: each section's schema, and its values.
class Writer {
 public:
  Writer(Document& document, std::uint64_t seed) : document_(document), random_(seed) {}

  void write(std::size_t settings) {
    const std::size_t common = settings * 6 / 10;
    const std::size_t macos = settings * 3 / 10;
    section("common", common);
    section("macos", macos);
    section("windows", settings - common - macos);
    document_.text = "{\"data\":{\"eff_schema\":{" + schema_ + "},\"values\":{" + values_ + "}}}";
  }

 private:
  static constexpr std::size_t inGroup = 12;

  void section(std::string_view name, std::size_t settings) {
    if (!schema_.empty()) schema_ += ',';
    if (!values_.empty()) values_ += ',';
    open(name);
    group(std::string(name), settings, 2);
    close();
  }

  // A group's settings, in groups of their own as long as there are many, but no path gets longer than six names.
  void group(const std::string& path, std::size_t settings, std::size_t depth) {
    const std::size_t levelsLeft = 6 - depth;
    std::size_t groups = 0;
    if (depth < 4 || (levelsLeft > 0 && settings > 2 * inGroup)) {
      // Spread so that groups of all levels are about as wide.
      groups = 1;
      while (settings > power(groups, levelsLeft) * inGroup) ++groups;
    }
    if (groups == 0) {
      for (std::size_t i = 0; i < settings; ++i) setting(path, i);
      return;
    }
    for (std::size_t i = 0; i < groups; ++i) {
      const std::size_t share = settings / groups + (i < settings % groups ? 1 : 0);
      const std::string name = nameOf(random_, i);
      separate(i);
      open(name);
      group(path + "." + name, share, depth + 1);
      close();
    }
  }

  static std::size_t power(std::size_t base, std::size_t exponent) {
    std::size_t result = 1;
    for (std::size_t i = 0; i < exponent; ++i) result *= base;
    return result;
  }

  void setting(const std::string& group, std::size_t number) {
    const std::string name = nameOf(random_, number);
    const std::string path = group + "." + name;
    separate(number);
    std::string_view type;
    std::string byDefault;
    std::string value;
    const std::size_t kind = below(random_, 20);
    const bool readonly = below(random_, 16) == 0;
    if (kind < 8) {
      type = "boolean";
      byDefault = below(random_, 2) == 0 ? "true" : "false";
      value = below(random_, 2) == 0 ? "true" : "false";
      document_.booleans.push_back(path);
      document_.missing.push_back(group + ".no_" + name);
    } else if (kind < 13) {
      type = "integer";
      byDefault = std::to_string(below(random_, 1'000'000));
      value = std::to_string(below(random_, 1'000'000));
      if (!readonly) document_.integers.push_back(path);
    } else if (kind < 17) {
      type = "string";
      byDefault = "\"" + nameOf(random_, below(random_, 1000)) + "\"";
      value = "\"" + nameOf(random_, below(random_, 1000)) + ".example.org\"";
    } else if (kind < 19) {
      type = "array";
      byDefault = "[]";
      value = "[";
      for (std::size_t i = 0; i < 4; ++i) {
        value += (i == 0 ? "\"" : ",\"") + nameOf(random_, below(random_, 1000)) + "\"";
      }
      value += "]";
    } else {
      type = "object";
      byDefault = R"({"mode":"automatic"})";
      value = R"({"mode":"manual","order":)" + std::to_string(below(random_, 100)) + "}";
    }
    ((schema_ += "\"") += name) += "\":{\"type\":\"";
    ((schema_ += type) += "\",\"description\":\"") += descriptionOf(random_);
    (schema_ += "\",\"default\":") += byDefault;
    schema_ += readonly ? ",\"readonly\":true}" : ",\"readonly\":false}";
    // The first of a group always has one, so that commas are simple.
    if (number > 0 && below(random_, 10) >= 7) {
      values_.pop_back();
      return;
    }
    (((values_ += "\"") += name) += "\":") += value;
  }

  void separate(std::size_t number) {
    if (number == 0) return;
    schema_ += ',';
    values_ += ',';
  }
  void open(std::string_view name) {
    ((schema_ += "\"") += name) += "\":{\"properties\":{";
    ((values_ += "\"") += name) += "\":{";
  }
  void close() {
    schema_ += "}}";
    values_ += "}";
  }

  Document& document_;
  Random random_;
  std::string schema_;
  std::string values_;
};

}  // namespace

Document documentOf(std::size_t settings, std::uint64_t seed) {
  Document document;
  Writer(document, seed).write(settings);
  return document;
}

std::vector<std::string> pathsToRead(const Document& document, std::size_t count, std::uint64_t seed) {
  Random random(seed);
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t which = below(random, document.booleans.size());
    paths.push_back(i % 4 == 3 ? document.missing[which] : document.booleans[which]);
  }
  for (std::size_t i = count; i > 1; --i) std::swap(paths[i - 1], paths[below(random, i)]);
  return paths;
}

}  // namespace qlczephra::bench
