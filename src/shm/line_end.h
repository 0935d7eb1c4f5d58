// Where lines end.
#pragma once

namespace shm {

// The first carriage return or line feed from `text` on; `end` if there is none.
const char* findLineEnd(const char* text, const char* end);

// The first byte from `text` on that is neither; `end` if there is none.
const char* skipLineEnds(const char* text, const char* end);

} // namespace shm
