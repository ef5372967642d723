#include <utility>

#include "platform/json/json.h"
#include "platform/json/structural_index.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"

namespace qlczephra::json {

std::variant<Value, ReadError> read(std::string_view text) {
  const StructuralIndex index(text);
  if (index.error() != nullptr) return ReadError{index.error()};
  TokenReader tokens(text, index);
  Value value;
  if (!ValueReader(tokens).read(value, 0)) return ReadError{tokens.error(), tokens.exceedsLimit()};
  if (!tokens.isAtEnd()) return ReadError{"something after the text's end"};
  return value;
}

}  // namespace qlczephra::json
