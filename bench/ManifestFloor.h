#pragma once

#include <string>

// The floor of the model removal with its summary: the least work that this
// behaviour needs on the benchmark's manifest, written plainly, in one pass
// and with nothing kept that is no longer needed. See ManifestFloor.cpp.
// `home` is the throwaway home that holds the manifest and the log. Returns
// the number of report lines and leaves the log as the program would (but
// for the order of the "not found" lines, which the floor does not sort).
long runManifestFloor(const std::string& home);
