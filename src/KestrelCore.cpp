#include "KestrelCore/KestrelCore.hpp"

const double KestrelCoreVersionNumber = 1.0;
const unsigned char KestrelCoreVersionString[] = "1.0.0";
