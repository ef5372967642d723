#pragma once

#include "tools/demo/story.h"

namespace qlczephra::tools::demo {

// What a host would act on after all that has happened before. The manager has settings.
void showPolicy(World& world);

// Policy records follow local changes at once.
void changePolicy(World& world);

}  // namespace qlczephra::tools::demo
