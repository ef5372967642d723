#include "platform/json/value_reader.h"

#include <utility>

namespace qlczephra::json {

bool ValueReader::readContainer(char bracket, Value& value, std::size_t depth) {
  Step step = begin(bracket, value, depth);
  for (;;) {
    while (step == Step::valueComplete && builder_.depth() > 0) step = add(value);
    if (step != Step::valueExpected) return step == Step::valueComplete;
    step = begin(tokens_.take(), value, depth);
  }
}

// Reads a scalar or an empty container, or opens a container.
ValueReader::Step ValueReader::begin(char first, Value& value, std::size_t depth) {
  if (first != '{' && first != '[') return tokens_.readScalar(first, value) ? Step::valueComplete : Step::failed;
  if (depth + builder_.depth() >= limits::documentNesting) {
    tokens_.failBeyondLimit("nested too deep");
    return Step::failed;
  }
  if (first == '{') {
    builder_.openMap();
    return tokens_.takeIf('}') ? close(value) : readKey();
  }
  builder_.openList();
  return tokens_.takeIf(']') ? close(value) : Step::valueExpected;
}

// Puts `value` into the innermost container. When that ends here, it is complete and becomes `value` itself.
ValueReader::Step ValueReader::add(Value& value) {
  if (!count()) return Step::failed;
  builder_.add(std::move(value));
  const bool isInMap = builder_.isInMap();
  const char next = tokens_.take();
  if (next == ',') return isInMap ? readKey() : Step::valueExpected;
  if (next == (isInMap ? '}' : ']')) return close(value);
  tokens_.fail("a comma or a closing bracket is missing");
  return Step::failed;
}

ValueReader::Step ValueReader::readKey() {
  std::string_view key;
  if (!tokens_.takeKey(key)) return Step::failed;
  builder_.setKey(key);
  return Step::valueExpected;
}

ValueReader::Step ValueReader::close(Value& value) {
  value = builder_.close();
  return Step::valueComplete;
}

}  // namespace qlczephra::json
