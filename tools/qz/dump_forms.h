// The forms in which a file of saved objects is shown.
#pragma once

#include "saved_file.h"

#include <span>
#include <string>
#include <string_view>

struct DumpLimits {
    std::size_t depth = 16; // of objects within each other; deeper ones begin again at the left
    std::size_t bytes = 64; // of a record that are shown
};

// Two digits for each, with something between them.
std::string hexOf(std::span<const unsigned char> bytes, std::string_view between = "");

void printTree(const SavedFile& file, const DumpLimits& limits);

// A line for each object.
void printJson(const SavedFile& file);
