// What stands before the value in a property list as it is nearly always written.
#pragma once

#include <string_view>

namespace qlczephra::plist {

inline constexpr std::string_view heading =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

}  // namespace qlczephra::plist
