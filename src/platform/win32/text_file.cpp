#include "platform/text_file.h"

#include "platform/win32/wide.h"

#include <windows.h>

#include <io.h>

#include <algorithm>
#include <cstdio>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;

std::FILE* streamOf(TextFile file) {
    return reinterpret_cast<std::FILE*>(file);
}

void writeBytes(HANDLE handle, const char* bytes, std::size_t count) {
    DWORD written = 0;
    WriteFile(handle, bytes, static_cast<DWORD>(count), &written, nullptr);
}

} // namespace

TextFile openTextFile(const char* path) {
    wchar_t wide[kPathUnits];
    if (!toWide(path, wide, kPathUnits)) {
        return kNoTextFile;
    }
    return reinterpret_cast<TextFile>(_wfopen(wide, L"w"));
}

void writeText(TextFile file, const char* text, std::size_t length) {
    std::fwrite(text, 1, length, streamOf(file));
    std::fflush(streamOf(file));
}

void writeTextWithoutLock(TextFile file, const char* text, std::size_t length) {
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(streamOf(file))));
    const char* const end = text + length;
    while (text != end) {
        const char* const lineEnd = std::find(text, end, '\n');
        writeBytes(handle, text, static_cast<std::size_t>(lineEnd - text));
        text = lineEnd;
        if (text != end) {
            writeBytes(handle, "\r\n", 2);
            ++text;
        }
    }
}

void closeTextFile(TextFile file) {
    std::fclose(streamOf(file));
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
