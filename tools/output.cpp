#include "tools/output.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/json/json.h"
#include "tools/failure.h"

namespace qlczephra::tools {
namespace {

std::string asJson(const Value& value, json::Style style) {
  auto text = json::write(value, style);
  if (!text) throw Failure("the value cannot be shown as JSON; it holds a string that is not UTF-8");
  return *std::move(text);
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return (byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7F;
}

}  // namespace

void OutputOptions::addTo(CLI::App& command) {
  command.add_flag("--json", json, "Print JSON on one line, for programs");
}

void printLine(const std::string& line) {
  const std::string text = line + "\n";
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw Failure("cannot write to standard output: " + std::generic_category().message(errno) +
                  "; send it to a place that takes it");
  }
}

void printValue(const Value& value, const OutputOptions& options) {
  if (!options.json) {
    if (const auto text = value.string(); text && std::none_of(text->begin(), text->end(), isControl)) {
      return printLine(std::string(*text));
    }
  }
  printLine(asJson(value, options.json ? json::Style::compact : json::Style::indented));
}

void printTree(const Map& tree, const OutputOptions& options) {
  printLine(asJson(tree, options.json ? json::Style::compact : json::Style::indented));
}

void printNames(const std::vector<std::string>& names, const OutputOptions& options) {
  if (options.json)
    return printLine(asJson(List(std::vector<Value>(names.begin(), names.end())), json::Style::compact));
  for (const std::string& name : names) printValue(name, options);
}

}  // namespace qlczephra::tools
