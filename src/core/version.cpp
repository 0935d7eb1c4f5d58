#include "Core/Version.h"

#define QZ_TEXT_OF(value) #value
#define QZ_TEXT(value) QZ_TEXT_OF(value)

int QZ_version() {
    return QZ_VERSION_NUMBER;
}

const char* QZ_version_string() {
    return QZ_TEXT(QZ_VERSION_MAJOR) "." QZ_TEXT(QZ_VERSION_MINOR) "." QZ_TEXT(QZ_VERSION_PATCH);
}
