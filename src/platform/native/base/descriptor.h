// A file descriptor that is closed when its owner goes.
#pragma once

#include <unistd.h>

namespace qlczephra::platform {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace qlczephra::platform
