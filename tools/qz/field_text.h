// The values of fields as texts.
#pragma once

#include "field_walk.h"

#include <string>
#include <string_view>

bool isNumber(Common::FieldKind kind);

// Of a number, or of the numbers in a row or a list; empty where a value shows it, or has none.
std::string_view typeOf(const Common::Field& field);

// As JSON has it; what it does not have, such as infinity, as a text.
std::string numberOf(Common::FieldKind kind, Bytes bytes);

// The numbers of a row, up to so many.
std::string numbersOf(const Common::Field& row, Bytes bytes, std::size_t most);
