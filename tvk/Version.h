// The version of the library, by semantic versioning.
#pragma once

#define TVK_VERSION_MAJOR 1
#define TVK_VERSION_MINOR 0
#define TVK_VERSION_PATCH 0
#define TVK_VERSION_STRING "1.0.0"
