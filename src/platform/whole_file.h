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
    bool isWriting = false; // whether the error came after a file had been opened for writing

    explicit operator bool() const { return error == 0; }
};

// Replaces the contents of an ordinary file in one step, or makes the file. Whoever opens it
// meanwhile finds all of the old contents or all of the new. After a failure the old contents are
// in place. Needs no memory from the heap.
//
// The file keeps its permissions and access list, on Linux its owner, on Windows its attributes. A
// file that is not writable becomes so for its owner. On Linux symbolic links are followed, and one
// that leads nowhere is an error; on Windows the new file replaces the link. Other names of the
// file (hard links) keep the old contents.
//
// The new contents are first written to a file of another name in the same directory. A process
// that is killed leaves that file behind; the next replacement of the same file removes it.
//
// The file itself is written instead where the directory lets no file be made or replaced, or the
// new file cannot get the owner or access list. Room is made first, so a full disk is still an
// error with the old contents in place. But readers may see a part of the new contents, and so may
// everybody after a crash. Hard links stay in this case.
Replacement replaceContents(const char* path, std::string_view bytes,
                            WriteProtected writeProtected = WriteProtected::overwrite) noexcept;

// The same for contents that come piece by piece: a new file beside the target. The old contents
// stay until it takes the target's place. The target is never written itself: where no new file can
// be made, that is an error.
class NewContents {
public:
    NewContents() = default;
    virtual ~NewContents() = default;
    NewContents(const NewContents&) = delete;
    NewContents& operator=(const NewContents&) = delete;

    // The handle to write to. Only this object closes it.
    virtual FileHandle file() const = 0;

    // To be called once, when everything is written. Takes a SaveTurn, so as not to replace the
    // file after another program has checked it and before that program replaces it. Goes on
    // without a turn if it does not come in time. The current directory may have changed meanwhile,
    // on Linux also the file's owner and permissions.
    virtual SystemError takePlace() noexcept = 0;
};

// Null, with the error, if no new file can be made or the target is not writable.
std::unique_ptr<NewContents> beginReplacement(const char* path, SystemError& error) noexcept;

} // namespace platform
