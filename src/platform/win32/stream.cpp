#include "platform/stream.h"

#include "platform/win32/wide.h"

#include <windows.h>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;

} // namespace

std::FILE* openTextForWriting(const char* path) {
    wchar_t wide[kPathUnits];
    return toWide(path, wide, kPathUnits) ? _wfopen(wide, L"w") : nullptr;
}

bool isOrdinaryFile(const char* path) {
    wchar_t wide[kPathUnits];
    if (!toWide(path, wide, kPathUnits)) {
        return false;
    }
    const DWORD attributes = GetFileAttributesW(wide);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

void replaceFile(const char* from, const char* to) {
    wchar_t wideFrom[kPathUnits];
    wchar_t wideTo[kPathUnits];
    if (toWide(from, wideFrom, kPathUnits) && toWide(to, wideTo, kPathUnits)) {
        DeleteFileW(wideTo);
        MoveFileW(wideFrom, wideTo);
    }
}

} // namespace platform
