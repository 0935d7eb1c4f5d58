// What is wrong with a text that is no configuration, in words that say what to do.
#pragma once

#include "Config/ConfigParser.h"

#include <cstddef>
#include <string>
#include <string_view>

// `file` is the name to give in advice; the offset is that of the error in the text.
std::string explainMistake(const ConfigParser::Error& error, std::string_view text, size_t offset,
                           const std::string& file);
