// Marks what the shared library shows to its users; everything else is hidden.
#pragma once

#define ZED_EXPORT __attribute__((visibility("default")))
