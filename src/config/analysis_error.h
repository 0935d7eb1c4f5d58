// What the analysers throw: a message, and the place in the text; a place of length 0 is none.
#pragma once

#include "config/entry.h"

#include <exception>

namespace qz::config {

class AnalysisError : public std::exception {
public:
    AnalysisError(const char* message, Place where) : message_(message), where_(where) {}

    const char* what() const noexcept override { return message_; }
    Place where() const { return where_; }

private:
    const char* message_; // a literal
    Place where_;
};

} // namespace qz::config
