// Marks what the shared library exports; everything else stays hidden.
#pragma once

#define QLCZEPHRA_EXPORT __attribute__((visibility("default")))
