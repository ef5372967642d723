#include "qlczephra/version.h"

const double qlczephraVersionNumber = 1.0;
const unsigned char qlczephraVersionString[] = "@(#)PROGRAM:qlczephra  PROJECT:qlczephra-1\n";
