/* Keys of Lua tables. C++ only, for programs built by the library's compiler. */
#ifndef QZCORE_LUA_KEY_H
#define QZCORE_LUA_KEY_H

#include "Core/SameCompiler.h"

#include <string>
#include <string_view>

namespace Lua {

/* A key: an integer or a text of any bytes. It only refers to the text, so use it for arguments and
 * do not keep it. A null text is the same as an empty one. */
class Key {
public:
    Key(int index) : index_(index) {}
    Key(const char* text) : isText_(true), text_(text != nullptr ? text : "") {}
    Key(const std::string& text) : isText_(true), text_(text) {}
    Key(std::string_view text) : isText_(true), text_(text) {}

    bool isText() const { return isText_; }
    std::string_view text() const { return text_; }
    int index() const { return index_; }

private:
    bool isText_ = false;
    int index_ = 0;
    std::string_view text_;
};

} // namespace Lua

#endif
