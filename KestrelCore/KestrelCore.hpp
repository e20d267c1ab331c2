#pragma once

#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Model/ScanEvent.hpp"
#include "KestrelCore/Model/ScanSnapshot.hpp"
#include "KestrelCore/SystemMetrics.hpp"

extern "C" {
extern KESTRELCORE_EXPORT const double KestrelCoreVersionNumber;           ///< 1.0
extern KESTRELCORE_EXPORT const unsigned char KestrelCoreVersionString[];  ///< NUL-terminated, such as "1.0.0"
}
