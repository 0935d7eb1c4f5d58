// Any bytes as text: the character codec stays in its bounds and the conversions end.
#include "require.h"

#include "Common/Text.h"
#include "Core/Hash.h"
#include "Core/Utf8.h"

#include <cstdint>
#include <string>

namespace {

// Reading character by character covers the text; each step goes forward and none past the end.
void walk(const std::string& text) {
    const char* position = text.data();
    const char* end = position + text.size();
    while (position != end) {
        const char* before = position;
        const std::uint32_t codePoint =
            UTF8_getc(&position, static_cast<std::size_t>(end - position));
        require(position > before && position <= end);
        char bytes[4];
        char* output = bytes;
        const std::size_t written = UTF8_putc(&output, sizeof bytes, codePoint);
        require(written >= 1 && written <= 4);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static constexpr const char* kCharsets[] = {"windows-1251", "SHIFT_JIS", "ISO-2022-JP",
                                                "UTF-7"};
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    walk(text);
    require(UTF8_strlen(text.c_str()) <= text.size());
    require(Common::utf8_substr(text, 0, SIZE_MAX) == text.c_str());
    QZ_hash_string(text.c_str(), data[0]);

    Common::iconv_local_init(kCharsets[data[0] % 4]);
    Common::iconv_local_to_utf8(text);
    Common::iconv_local_from_utf8(text);
    const std::string mended = Common::iconv_utf8_from_wchar(Common::iconv_utf8_to_wchar(text));
    require(Common::iconv_utf8_from_wchar(Common::iconv_utf8_to_wchar(mended)) == mended);
    Common::iconv_local_exit();
    return 0;
}
