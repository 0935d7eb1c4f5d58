// The forms in which qz dump prints a file of saved objects.
#pragma once

#include "saved_file.h"

#include <span>
#include <string>
#include <string_view>

struct DumpLimits {
    std::size_t depth = 16; // of nested objects; deeper ones follow below the others
    std::size_t bytes = 64; // shown bytes of a record, or shown items of a row or a text
};

// Two digits for each byte, with `between` between the bytes.
std::string hexOf(std::span<const unsigned char> bytes, std::string_view between = "");

void printTree(const SavedFile& file, const DumpLimits& limits);

// A line for each object.
void printJson(const SavedFile& file);
