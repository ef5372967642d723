// The steps of the demonstration in which the host changes settings.
#pragma once

#include "tools/demo/story.h"

namespace qlczephra::tools::demo {

void changeWhileServiceIsAway(World& world);
void restartWithPendingChange(World& world);
void uploadWhenServiceReturns(World& world);
void changeAfterAnother(World& world);

}  // namespace qlczephra::tools::demo
