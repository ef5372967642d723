#pragma once

#include <string_view>

namespace qlczephra::service {

// The text of samples/corlane.json: a settings document for the product "corlane" that fills every policy area.
[[nodiscard]] std::string_view sampleDocument();

}  // namespace qlczephra::service
