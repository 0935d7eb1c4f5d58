// Files that are written as a whole, by UTF-8 path with either separator.
#pragma once

#include "platform/files.h"

#include <memory>
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

// The same for contents that come piece by piece: a file beside the one that they are for. Until it
// takes that one's place, and if it never does, the old contents stay. There is no writing in
// place: where the other file cannot be made, that is an error.
class NewContents {
public:
    NewContents() = default;
    virtual ~NewContents() = default;
    NewContents(const NewContents&) = delete;
    NewContents& operator=(const NewContents&) = delete;

    // For writing; never to be closed by others.
    virtual FileHandle file() const = 0;

    // Once, when all is written.
    virtual SystemError takePlace() noexcept = 0;
};

// Null, with the error, if that is not possible, or the file is not writable.
std::unique_ptr<NewContents> beginReplacement(const char* path, SystemError& error) noexcept;

} // namespace platform
