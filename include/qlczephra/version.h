// The build of the library, as data symbols that tools can read from the binary.
#pragma once

#include "qlczephra/export.h"

extern "C" {
extern QLCZEPHRA_EXPORT const double qlczephraVersionNumber;
// "@(#)PROGRAM:qlczephra  PROJECT:qlczephra-1" and a line feed.
extern QLCZEPHRA_EXPORT const unsigned char qlczephraVersionString[];
}
