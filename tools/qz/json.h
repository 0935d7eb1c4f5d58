// A configuration's entries as JSON.
#pragma once

#include "Config/ConfigParser.h"

#include <string>

// The entries from `first` on as an object. Those of the same name become one array, in the place
// of the first of them.
std::string jsonObject(ConfigParser::iterator first);

std::string jsonValue(const ConfigParser::iterator& entry);
