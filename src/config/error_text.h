// Failures in words.
#pragma once

#include "Config/ConfigParser.h"
#include "config/source_text.h"

#include <string>

namespace qz::config {

// "<problem>: <the system's words>"; the problem alone if the error is 0.
std::string withReason(const std::string& problem, platform::SystemError error);

// A text that was read and could not be parsed.
std::string describeFailure(const ConfigParser::Error& error, bool isLineFeed);

} // namespace qz::config
