// A configuration's entries as JSON.
#pragma once

#include "Config/ConfigParser.h"

#include <string>

// The entries from `first` on as an object. Entries of the same name become one array, at the place
// of the first one.
std::string jsonObject(ConfigParser::iterator first);

std::string jsonValue(const ConfigParser::iterator& entry);
