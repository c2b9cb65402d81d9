#pragma once

#include <string>
#include <vector>

// The floor of moving items into the home trash at `trash` (whose "files"
// and "info" exist): see TrashFloor.cpp. Returns how many moved.
long moveToTrashFloor(const std::string& trash, const std::vector<std::string>& items);
