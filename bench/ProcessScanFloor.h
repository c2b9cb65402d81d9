#pragma once

#include <cstddef>
#include <string>

// The floor of listing the running instances of the app with bundle
// identifier `identifier` that belong to this user: see ProcessScanFloor.cpp.
// Returns how many it found.
size_t scanProcessesFloor(const std::string& identifier);
