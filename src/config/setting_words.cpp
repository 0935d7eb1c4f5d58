#include "config/setting_words.h"

namespace qz::config {

std::string describe(const ConfigParser::iterator& entry) {
    switch (entry.getType()) {
    case ConfigParser::iterator::kInteger:
        return textOf(entry.getInt());
    case ConfigParser::iterator::kReal:
        return textOf(entry.getDouble());
    case ConfigParser::iterator::kString:
        return "a text";
    case ConfigParser::iterator::kList:
        return "a list";
    default:
        return "a block";
    }
}

} // namespace qz::config
