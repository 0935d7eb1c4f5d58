// Letters in lower case, the same in every locale and on every system.
#pragma once

namespace vfs {

// Unicode's simple lower-case mapping; characters without one, surrogates among them, come back as
// they are. The runtime library's own mapping depends on the process's locale, and folded paths are
// compared and stored beyond the process.
char16_t lowerCase(char16_t character);

} // namespace vfs
