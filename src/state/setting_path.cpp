#include "qlczephra/setting_path.h"

#include "state/unique_number.h"

namespace qlczephra {

SettingPath::SettingPath(std::string_view path) : text_(path), id_(nextUniqueNumber()) {}

}  // namespace qlczephra
