// The boundary to host code: every call of a delegate, provider, completion, handler or action goes through here.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "platform/platform.h"

namespace qlczephra::platform {

// Calls `code`, which must not be called with a lock held. An exception ends here: it is logged by its type alone,
// since its text may hold anything, and the call counts as done.
template <typename Code>
void callHost(Platform& platform, std::string_view what, Code&& code) noexcept {
  if (!platform.hostCodeBegins()) return;
  std::string thrown;
  try {
    std::forward<Code>(code)();
  } catch (const std::exception& exception) {
    thrown = typeid(exception).name();
  } catch (...) {
    thrown = "of unknown type";
  }
  platform.hostCodeEnds();
  if (!thrown.empty()) {
    platform.log().process("qlczephra: " + std::string(what) + " threw an exception (" + thrown + "), ignored");
  }
}

}  // namespace qlczephra::platform
