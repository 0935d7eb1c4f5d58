// Files that are written as a whole, by UTF-8 path with either separator.
#pragma once

#include "platform/files.h"

#include <string_view>

namespace platform {

// What to do with a file that is not writable.
enum class WriteProtected { overwrite, refuse };

struct Replacement {
    SystemError error = 0;  // 0: the file has the new contents
    bool isWriting = false; // whether the error came after the system had let a file be opened

    explicit operator bool() const { return error == 0; }
};

// Replaces the contents of an ordinary file in one step, or makes the file: whatever happens
// meanwhile, whoever opens it finds all of the old contents or all of the new. After a failure the
// old contents are in place. Allocates nothing.
//
// The file keeps its owner, permissions and access list; on Windows its attributes, but not its
// owner. One that is not writable becomes so for its owner. Symbolic links are followed; one that
// leads nowhere is an error. Other names of the file (hard links) keep the old contents.
//
// The new contents are first written to a file of another name in the same directory. A process
// that is killed leaves that file behind; the next replacement of the same file removes it.
//
// Where the directory lets no file be made or replaced, or the owner or access list cannot be given
// to a new file, the file itself is written instead. Room is made first, so that a full disk is
// still an error with the old contents in place, but readers may then see a part of the new
// contents, and so may everybody after a crash. Hard links stay in this case.
Replacement replaceContents(const char* path, std::string_view bytes,
                            WriteProtected writeProtected = WriteProtected::overwrite) noexcept;

} // namespace platform
