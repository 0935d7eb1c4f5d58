#include "platform/text_file.h"

#include "platform/win32/path_target.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <algorithm>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;

HANDLE handleOf(TextFile file) {
    return reinterpret_cast<HANDLE>(file.handle);
}

bool toFilePath(const char* path, wchar_t* wide) {
    return toWide(path, wide, kPathUnits) && targetOf(wide) == PathTarget::file;
}

// The beginning of a text, as much as fits, with the system's line breaks.
class NativePiece {
public:
    explicit NativePiece(std::string_view text) {
        for (; consumed_ < text.size() && size_ + 2 <= sizeof bytes_; ++consumed_) {
            if (text[consumed_] == '\n') {
                bytes_[size_++] = '\r';
            }
            bytes_[size_++] = text[consumed_];
        }
    }

    const char* bytes() const { return bytes_; }
    DWORD size() const { return size_; }
    std::size_t consumed() const { return consumed_; } // characters of the text

private:
    DWORD size_ = 0;
    std::size_t consumed_ = 0;
    char bytes_[4096];
};

DWORD nativeSize(std::string_view text) {
    return static_cast<DWORD>(text.size()) +
           static_cast<DWORD>(std::count(text.begin(), text.end(), '\n'));
}

// How much of a text is complete in the first `bytes` bytes of its native form.
std::size_t textWithin(std::string_view text, DWORD bytes) {
    std::size_t whole = 0;
    while (whole < text.size() && nativeSize(text.substr(0, whole + 1)) <= bytes) {
        ++whole;
    }
    return whole;
}

bool takeBack(HANDLE handle, DWORD bytes) {
    LARGE_INTEGER distance{};
    distance.QuadPart = -static_cast<LONGLONG>(bytes);
    return SetFilePointerEx(handle, distance, nullptr, FILE_CURRENT) && SetEndOfFile(handle);
}

} // namespace

TextFile openTextFile(const char* path) {
    wchar_t wide[kPathUnits];
    if (!toFilePath(path, wide)) {
        return kNoTextFile;
    }
    const HANDLE handle = CreateFileW(wide, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return handle != INVALID_HANDLE_VALUE ? TextFile{reinterpret_cast<std::intptr_t>(handle), {}}
                                          : kNoTextFile;
}

std::size_t writeText(TextFile file, std::string_view text) {
    std::size_t taken = 0;
    while (taken < text.size()) {
        const NativePiece piece(text.substr(taken));
        DWORD written = 0;
        WriteFile(handleOf(file), piece.bytes(), piece.size(), &written, nullptr);
        if (written < piece.size()) {
            const std::string_view rest = text.substr(taken, piece.consumed());
            const std::size_t whole = textWithin(rest, written);
            // Removes half a line break.
            if (const DWORD odd = written - nativeSize(rest.substr(0, whole)); odd > 0) {
                takeBack(handleOf(file), odd);
            }
            return taken + whole;
        }
        taken += piece.consumed();
    }
    return taken;
}

bool takeBackText(TextFile file, std::string_view tail) {
    return takeBack(handleOf(file), nativeSize(tail));
}

void closeTextFile(TextFile file) {
    CloseHandle(handleOf(file));
}

bool isOrdinaryFile(const char* path) {
    wchar_t wide[kPathUnits];
    if (!toFilePath(path, wide)) {
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
