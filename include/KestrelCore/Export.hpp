#pragma once

/// Marks what the shared library exports; everything else stays hidden, so that no host comes to rest on what may
/// change.
#define KESTRELCORE_EXPORT __attribute__((visibility("default")))
