// Explains what is wrong with a text that is no valid configuration, and what to do about it.
#pragma once

#include "Config/ConfigParser.h"

#include <cstddef>
#include <string>
#include <string_view>

// `file` is the name to use in advice; `offset` is the error's offset in the text.
std::string explainMistake(const ConfigParser::Error& error, std::string_view text, size_t offset,
                           const std::string& file);
