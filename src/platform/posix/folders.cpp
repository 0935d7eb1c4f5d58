#include "platform/folders.h"

#include "platform/files.h"
#include "platform/posix/path.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace platform {

namespace {

// Room for a path of the virtual file system, whose own buffers are no longer.
using FolderBuffer = std::array<char, 256>;

constexpr mode_t kUserFolderMode = 0700;

bool concatenate(char* buffer, std::size_t size, std::string_view first, std::string_view second) {
    if (first.size() + second.size() >= size) {
        return false;
    }
    first.copy(buffer, first.size());
    second.copy(buffer + first.size(), second.size());
    buffer[first.size() + second.size()] = 0;
    return true;
}

// Null for a relative path: it would mean another folder after each change of directory.
const char* absoluteVariable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && value[0] == '/' ? value : nullptr;
}

bool homeFolder(char* buffer, std::size_t size) {
    if (const char* home = absoluteVariable("HOME")) {
        return concatenate(buffer, size, home, "");
    }
    passwd entry;
    passwd* found = nullptr;
    char texts[4096];
    return getpwuid_r(getuid(), &entry, texts, sizeof texts, &found) == 0 && found != nullptr &&
           found->pw_dir[0] == '/' && concatenate(buffer, size, found->pw_dir, "");
}

bool inHome(char* buffer, std::size_t size, std::string_view rest) {
    FolderBuffer home;
    return homeFolder(home.data(), home.size()) && concatenate(buffer, size, home.data(), rest);
}

bool fromVariableOrHome(char* buffer, std::size_t size, const char* variable,
                        std::string_view below_home) {
    const char* value = absoluteVariable(variable);
    return value != nullptr ? concatenate(buffer, size, value, "")
                            : inHome(buffer, size, below_home);
}

// Resolves an absolute path in place, which only makes it shorter, and creates a missing folder.
FolderStatus ensureFolder(char* path, std::size_t size) {
    FolderBuffer given;
    if (!concatenate(given.data(), given.size(), path, "") ||
        !resolvePath(given.data(), path, size)) {
        return FolderStatus::unknown;
    }
    createDirectories(path, kUserFolderMode);
    struct stat status;
    const bool ready = stat(path, &status) == 0 && S_ISDIR(status.st_mode);
    return ready ? FolderStatus::ready : FolderStatus::notCreated;
}

// Takes a double-quoted text apart as a shell would, without expanding anything: a backslash takes
// the next character as it is. False if the closing quote is missing or the text does not fit.
bool unquote(std::string_view quoted, char* buffer, std::size_t size) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < quoted.size() && length + 1 < size; ++i) {
        if (quoted[i] == '"') {
            buffer[length] = 0;
            return true;
        }
        if (quoted[i] == '\\' && ++i == quoted.size()) {
            return false;
        }
        if (quoted[i] == 0) {
            return false;
        }
        buffer[length++] = quoted[i];
    }
    return false;
}

// One line of the users' folder file: XDG_DOCUMENTS_DIR="$HOME/..." or ="/...". False for every
// other line.
bool parseDocumentsLine(std::string_view line, char* buffer, std::size_t size) {
    constexpr std::string_view kKey = "XDG_DOCUMENTS_DIR=\"";
    constexpr std::string_view kHome = "$HOME";
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(kKey)) {
        return false;
    }
    line.remove_prefix(kKey.size());
    const bool belowHome = line.starts_with(kHome);
    if (belowHome) {
        line.remove_prefix(kHome.size());
    }
    FolderBuffer rest;
    if (!unquote(line, rest.data(), rest.size()) ||
        (rest[0] != '/' && !(belowHome && rest[0] == 0))) {
        return false;
    }
    return belowHome ? inHome(buffer, size, rest.data())
                     : concatenate(buffer, size, rest.data(), "");
}

bool parseDocumentsFolder(std::string_view text, char* buffer, std::size_t size) {
    bool found = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        // The last assignment counts, as it does for a shell.
        found = parseDocumentsLine(text.substr(0, end), buffer, size) || found;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return found;
}

// Reads the users' folder file as the desktop keeps it, but only its beginning: real ones have a
// dozen lines.
bool configuredDocumentsFolder(char* buffer, std::size_t size) {
    FolderBuffer configuration;
    FolderBuffer path;
    if (!fromVariableOrHome(configuration.data(), configuration.size(), "XDG_CONFIG_HOME",
                            "/.config") ||
        !concatenate(path.data(), path.size(), configuration.data(), "/user-dirs.dirs")) {
        return false;
    }
    SystemError error = 0;
    const FileHandle file = openFile(path.data(), FileAccess::read, error);
    if (file == kNoFile) {
        return false;
    }
    std::array<char, 16384> text;
    const std::size_t length = readFile(file, text.data(), text.size(), error);
    closeFile(file);
    return parseDocumentsFolder({text.data(), length}, buffer, size);
}

bool locateDocuments(char* buffer, std::size_t size) {
    return configuredDocumentsFolder(buffer, size) || inHome(buffer, size, "/Documents");
}

// Whether it is a directory that nobody but this user can have put something into.
bool isOwnDirectory(const char* path) {
    struct stat status {};
    return lstat(path, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

FolderStatus savedGamesFolder(char* buffer, std::size_t size) {
    return fromVariableOrHome(buffer, size, "XDG_DATA_HOME", "/.local/share")
               ? ensureFolder(buffer, size)
               : FolderStatus::unknown;
}

FolderStatus myGamesFolder(char* buffer, std::size_t size) {
    FolderBuffer documents;
    const bool known = locateDocuments(documents.data(), documents.size()) &&
                       concatenate(buffer, size, documents.data(), "/My Games");
    return known ? ensureFolder(buffer, size) : FolderStatus::unknown;
}

FolderStatus documentsFolder(char* buffer, std::size_t size) {
    return locateDocuments(buffer, size) ? ensureFolder(buffer, size) : FolderStatus::unknown;
}

bool temporaryFolder(char* buffer, std::size_t size) {
    const char* folder = absoluteVariable("TMPDIR");
    return resolvePath(folder == nullptr ? "/tmp" : folder, buffer, size);
}

bool currentDirectory(char* buffer, std::size_t size) {
    return fullPath(".", buffer, size);
}

bool fullPath(const char* path, char* buffer, std::size_t size) {
    return resolvePath(SystemPath(path).text(), buffer, size);
}

bool makeOwnDirectories(const char* parent, const char* path) {
    char above[kPathRoom];
    char full[kPathRoom];
    if (!resolvePath(SystemPath(parent).text(), above, sizeof above) ||
        !resolvePath(SystemPath(path).text(), full, sizeof full)) {
        return false;
    }
    createDirectories(above, 0777);
    // A path that leads elsewhere is checked from the root on.
    const std::size_t length = std::strlen(above);
    char* const below = full + (std::strncmp(full, above, length) == 0 ? length : 0);
    createDirectories(full, kUserFolderMode);
    for (char* end = below; *end != 0;) {
        end += std::strcspn(end + 1, "/") + 1;
        const char separator = std::exchange(*end, '\0');
        const bool isOwn = isOwnDirectory(full);
        *end = separator;
        if (!isOwn) {
            return false;
        }
    }
    return true;
}

} // namespace platform
