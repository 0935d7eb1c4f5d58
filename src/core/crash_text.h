// The texts of crash reports.
#pragma once

#include "platform/symbols.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace core {

// A line that is put together without the C library, whose formatting may allocate. Text that does
// not fit is cut, and none follows it; end() always has room, once.
class CrashLine {
public:
    std::string_view text() const { return {text_, length_}; }
    const char* terminated() {
        text_[length_] = 0;
        return text_;
    }

    CrashLine& add(std::string_view text);
    CrashLine& hex(std::uint64_t value, unsigned digits = 1);
    CrashLine& decimal(std::uint64_t value, unsigned digits = 1);
    CrashLine& end();

private:
    static constexpr std::size_t kRoom = 1024;

    CrashLine& number(std::uint64_t value, unsigned base, unsigned digits);

    char text_[kRoom + 1]; // with room for a zero byte
    std::size_t length_ = 0;
    std::size_t mostLength_ = kRoom - 1; // the length, once something was cut
};

// "YYYYMMDD-hhmmss" of a time, and the time of such a text; -1 for another text.
void addTimeStamp(CrashLine& line, std::int64_t time);
std::int64_t readTimeStamp(std::string_view stamp);

// "section:offset module symbol()+displacement file:line", without what is not known.
void addLocation(CrashLine& line, const platform::ModulePlace& place,
                 const platform::SourcePlace& source);

// The name of an exception; valid until the next call.
const char* faultName(std::uint32_t code);

} // namespace core
