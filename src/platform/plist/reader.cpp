#include <utility>

#include "platform/plist/own_form_reader.h"
#include "platform/plist/plist.h"
#include "platform/plist/xml_reader.h"

namespace qlczephra::plist {

std::variant<Value, ReadError> read(std::string_view text) {
  if (auto value = readOwnForm(text)) return *std::move(value);
  return readXml(text);
}

}  // namespace qlczephra::plist
