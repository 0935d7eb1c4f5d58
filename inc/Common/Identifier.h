/* Class names, by which objects are created and known. C++ only, for programs built by the
 * library's compiler. */
#ifndef QZCORE_COMMON_IDENTIFIER_H
#define QZCORE_COMMON_IDENTIFIER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <compare>
#include <string>

namespace Common {

/* A class name: any bytes, compared byte by byte as strings are. Case, blanks and separators all
 * count. A name orders before longer names that begin with it. */
class QZ_API Identifier {
public:
    Identifier() = default;
    Identifier(const char* className) { setClassName(className); }
    Identifier(std::string className) : className_(std::move(className)) {}

    /* Null stands for the empty name. */
    void setClassName(const char* className) { className_ = className != nullptr ? className : ""; }

    const std::string& getClassName() const { return className_; }

    bool operator==(const Identifier&) const = default;
    std::strong_ordering operator<=>(const Identifier&) const = default;

private:
    std::string className_;
};

} // namespace Common

#endif
