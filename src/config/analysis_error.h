// What the analysers throw: a message and a place in the text. Length 0 means no place.
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
