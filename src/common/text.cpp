#include "Common/Text.h"

#include "Core/Utf8.h"
#include "core/ascii.h"
#include "core/until_unload.h"
#include "platform/utf8_sequence.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace {

// GNU libiconv and the C library both read this name as UCS-2 in this processor's byte order. The C
// library does not know "UCS-2-INTERNAL".
constexpr char kUcs2[] = "UCS-2LE";
constexpr char kUtf8[] = "utf-8";
constexpr std::size_t kUcs2Unit = 2;

constexpr std::string_view kReplacementUcs2("\xFD\xFF", kUcs2Unit); // U+FFFD
constexpr std::string_view kQuestionUcs2("?\0", kUcs2Unit);

// The system's descriptor for a conversion. It keeps state, so it does one conversion at a time.
class Converter {
public:
    Converter(const char* to, const char* from) : descriptor_(iconv_open(to, from)) {}
    ~Converter() {
        if (isOpen()) {
            iconv_close(descriptor_);
        }
    }
    Converter(Converter&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, closed()))
        , nextQuestion_(std::move(other.nextQuestion_)) {}
    Converter& operator=(Converter&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        nextQuestion_.swap(other.nextQuestion_);
        return *this;
    }

    bool isOpen() const { return descriptor_ != closed(); }

    struct Rules {
        std::size_t inputUnit;     // bytes to skip where the input is not understood
        std::string_view question; // what stands for them, in the output's encoding
        bool isQuestionConverted;  // whether the question is input, because its bytes depend on the
                                   // set
        std::string_view beyondFirstPlane; // what stands for a well-formed four-byte character; may
                                           // be empty: then it is converted, or not understood
    };

    std::string convert(std::string_view text, const Rules& rules) {
        Conversion conversion{text, {}};
        // Forgets the state of the last text.
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        while (!conversion.input.empty()) {
            if (!step(conversion) && !conversion.input.empty()) {
                replace(conversion, rules);
                conversion.window = kFirstWindow;
            }
        }
        finish(conversion.output);
        return std::move(conversion.output);
    }

private:
    struct Conversion {
        std::string_view input;
        std::string output;
        std::size_t window = kFirstWindow; // bytes to offer at a time
        std::size_t replacedAt = 0;        // bytes left behind the last question
    };

    static iconv_t closed() { return reinterpret_cast<iconv_t>(-1); }

    // Converts some of the input. False if it stopped at input that is not understood.
    //
    // A converter that stops has worked through all that it was offered, and does part of it again.
    // So it is offered little at first, and more as long as it does not stop.
    bool step(Conversion& conversion) {
        std::array<char, 2 * kLargestWindow> buffer;
        const std::size_t offered = std::min(conversion.window, conversion.input.size());
        char* in = const_cast<char*>(conversion.input.data());
        char* out = buffer.data();
        std::size_t inLeft = offered;
        std::size_t outLeft = buffer.size();
        const bool done = iconv(descriptor_, &in, &inLeft, &out, &outLeft) != kFailed;
        const bool bufferWasFull = !done && errno == E2BIG && outLeft < buffer.size();
        const bool hasMore = offered < conversion.input.size() &&
                             (inLeft < offered || conversion.window < kLargestWindow);
        const bool cutACharacter = !done && errno == EINVAL && hasMore;
        conversion.output.append(buffer.data(), buffer.size() - outLeft);
        conversion.input.remove_prefix(offered - inLeft);
        conversion.window = std::min(2 * conversion.window, kLargestWindow);
        // Of a set whose name ends in "//IGNORE" the C library says at the end that it left
        // something out.
        const bool tookEverything = inLeft == 0;
        return done || bufferWasFull || cutACharacter || tookEverything;
    }

    void replace(Conversion& conversion, const Rules& rules) {
        if (!rules.beyondFirstPlane.empty() && platform::sequenceLength(conversion.input) == 4) {
            conversion.output += rules.beyondFirstPlane;
            conversion.input.remove_prefix(4);
        } else {
            addQuestion(conversion, rules);
            conversion.input.remove_prefix(std::min(rules.inputUnit, conversion.input.size()));
            conversion.replacedAt = conversion.input.size();
        }
    }

    // Questions in a row are all the same from the second one on; converting each takes too long.
    void addQuestion(Conversion& conversion, const Rules& rules) {
        if (!rules.isQuestionConverted) {
            conversion.output += rules.question;
        } else if (conversion.replacedAt != conversion.input.size()) {
            conversion.output += converted(rules.question);
        } else {
            if (nextQuestion_.empty()) {
                nextQuestion_ = converted(rules.question);
            }
            conversion.output += nextQuestion_;
        }
    }

    // A short text; unchanged if the set does not have it.
    std::string converted(std::string_view text) {
        std::array<char, 64> buffer;
        char* in = const_cast<char*>(text.data());
        char* out = buffer.data();
        std::size_t inLeft = text.size();
        std::size_t outLeft = buffer.size();
        const bool done = iconv(descriptor_, &in, &inLeft, &out, &outLeft) != kFailed;
        return std::string(buffer.data(), out).append(done ? std::string_view() : text);
    }

    // Stateful character sets end a text with a return to their first state.
    void finish(std::string& output) {
        std::array<char, 64> buffer;
        char* out = buffer.data();
        std::size_t outLeft = buffer.size();
        if (iconv(descriptor_, nullptr, nullptr, &out, &outLeft) != kFailed) {
            output.append(buffer.data(), buffer.size() - outLeft);
        }
    }

    static constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
    static constexpr std::size_t kFirstWindow = 16;
    static constexpr std::size_t kLargestWindow = 1024;

    iconv_t descriptor_;
    std::string nextQuestion_; // one that follows another; empty until there was one
};

constexpr Converter::Rules kUtf8ToLocal{1, "?", true, {}};
constexpr Converter::Rules kLocalToUtf8{1, "?", false, {}};
constexpr Converter::Rules kBytesToWide{1, kQuestionUcs2, false, kReplacementUcs2};
constexpr Converter::Rules kWideToBytes{kUcs2Unit, "?", false, {}};

// One direction of conversion, open or not. It has as many converters as threads have ever
// converted at the same time, so that none waits for another.
class Direction {
public:
    // False if it cannot be opened.
    bool open(const char* to, const char* from) {
        const std::lock_guard lock(mutex_);
        if (!isOpen_) {
            to_ = to;
            from_ = from;
            isOpen_ = addConverter();
        }
        return isOpen_;
    }

    // Conversions that have begun go on to their end.
    void close() {
        const std::lock_guard lock(mutex_);
        isOpen_ = false;
        ++session_;
        made_ = 0;
        idle_.clear();
        change_.notify_all();
    }

    // Nothing if it is not open.
    std::optional<std::string> convert(std::string_view text, const Converter::Rules& rules) {
        Loan loan(*this);
        return loan.converter ? std::optional(loan.converter->convert(text, rules)) : std::nullopt;
    }

private:
    struct Loan {
        explicit Loan(Direction& lender) : owner(lender), converter(lender.take(session)) {}
        ~Loan() {
            if (converter) {
                owner.giveBack(std::move(*converter), session);
            }
        }
        Loan(const Loan&) = delete;
        Loan& operator=(const Loan&) = delete;

        Direction& owner;
        unsigned session = 0;
        std::optional<Converter> converter;
    };

    // Waits for a converter only if the system gives no more of them.
    std::optional<Converter> take(unsigned& session) {
        std::unique_lock lock(mutex_);
        while (isOpen_ && idle_.empty() && !addConverter()) {
            change_.wait(lock);
        }
        if (!isOpen_) {
            return std::nullopt;
        }
        session = session_;
        std::optional<Converter> taken(std::move(idle_.back()));
        idle_.pop_back();
        return taken;
    }

    void giveBack(Converter&& converter, unsigned session) {
        const std::lock_guard lock(mutex_);
        if (session == session_) {
            idle_.push_back(std::move(converter)); // there is room for all
            change_.notify_one();
        }
    }

    bool addConverter() {
        idle_.reserve(made_ + 1);
        Converter converter(to_.c_str(), from_.c_str());
        if (!converter.isOpen()) {
            return false;
        }
        idle_.push_back(std::move(converter));
        ++made_;
        return true;
    }

    std::mutex mutex_;
    std::condition_variable change_;
    bool isOpen_ = false;
    unsigned session_ = 0; // increased by each close
    std::string to_;
    std::string from_;
    std::size_t made_ = 0;
    std::vector<Converter> idle_;
};

struct Directions {
    std::mutex mutex; // held for opening and closing
    Direction utf8ToLocal;
    Direction localToUtf8;
    Direction wideToUtf8;
    Direction utf8ToWide;
};

Directions& directions() {
    static Directions& instance = core::untilUnload(new Directions);
    return instance;
}

// Opens both directions or none, because a later call could open the other one for another
// character set.
void openBoth(Direction& there, Direction& back, const char* from, const char* to) {
    const bool isThereOpen = there.open(to, from);
    const bool isBackOpen = back.open(from, to);
    if (!isThereOpen || !isBackOpen) {
        there.close();
        back.close();
    }
}

// Without a letter or a digit before its first slash, iconv takes a name for the locale's set.
bool namesSet(std::string_view charset) {
    return std::ranges::any_of(charset.substr(0, charset.find('/')), [](char c) {
        const char lower = core::lowerAscii(c);
        return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9');
    });
}

std::wstring widen(std::string_view ucs2) {
    std::wstring wide(ucs2.size() / kUcs2Unit, L'\0');
    for (std::size_t i = 0; i < wide.size(); ++i) {
        const auto low = static_cast<unsigned char>(ucs2[kUcs2Unit * i]);
        const auto high = static_cast<unsigned char>(ucs2[kUcs2Unit * i + 1]);
        wide[i] = static_cast<wchar_t>(low | high << 8);
    }
    return wide;
}

// A unit that is wider than UCS-2 becomes a lone surrogate, which no conversion understands.
std::string narrow(const std::wstring& wide) {
    constexpr std::uint32_t kNotUnderstood = 0xD800;
    std::string ucs2;
    ucs2.reserve(wide.size() * kUcs2Unit);
    for (const wchar_t unit : wide) {
        const auto value = static_cast<std::uint32_t>(unit);
        const std::uint32_t fitting = value > 0xFFFF ? kNotUnderstood : value;
        ucs2 += static_cast<char>(fitting & 0xFF);
        ucs2 += static_cast<char>(fitting >> 8);
    }
    return ucs2;
}

std::size_t announcedLength(unsigned char lead) {
    if (lead < 0xC0) {
        return 1;
    }
    std::size_t length = 2;
    for (unsigned bit = 0x20; length < 6 && (lead & bit) != 0; bit >>= 1) {
        ++length;
    }
    return length;
}

std::size_t characterLength(std::string_view text) {
    const std::size_t announced = announcedLength(static_cast<unsigned char>(text[0]));
    std::size_t length = 1;
    while (length < announced && length < text.size() &&
           (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        ++length;
    }
    return length;
}

// The length in bytes of up to `count` characters; the text ends at a NUL.
std::size_t lengthOf(std::string_view text, std::size_t count) {
    std::size_t length = 0;
    for (; count > 0 && length < text.size() && text[length] != '\0'; --count) {
        length += characterLength(text.substr(length));
    }
    return length;
}

} // namespace

std::string Common::uni2mbstr(unsigned int code_point) {
    char bytes[4];
    char* end = bytes;
    UTF8_putc(&end, sizeof bytes, code_point);
    return {bytes, end};
}

std::string Common::utf8_substr(const std::string& text, std::size_t first, std::size_t count) {
    std::string_view rest(text);
    rest.remove_prefix(lengthOf(rest, first));
    return std::string(rest.substr(0, lengthOf(rest, count)));
}

void Common::iconv_local_init(const std::string& charset) {
    Directions& all = directions();
    const std::lock_guard lock(all.mutex);
    if (namesSet(charset.c_str())) {
        openBoth(all.utf8ToLocal, all.localToUtf8, kUtf8, charset.c_str());
    }
    openBoth(all.utf8ToWide, all.wideToUtf8, kUtf8, kUcs2);
}

void Common::iconv_local_exit() {
    Directions& all = directions();
    const std::lock_guard lock(all.mutex);
    all.utf8ToLocal.close();
    all.localToUtf8.close();
    all.wideToUtf8.close();
    all.utf8ToWide.close();
}

std::string Common::iconv_local_from_utf8(const std::string& text) {
    return directions().utf8ToLocal.convert(text, kUtf8ToLocal).value_or(text);
}

std::string Common::iconv_local_to_utf8(const std::string& text) {
    return directions().localToUtf8.convert(text, kLocalToUtf8).value_or(text);
}

std::wstring Common::iconv_utf8_to_wchar(const std::string& text) {
    return widen(directions().utf8ToWide.convert(text, kBytesToWide).value_or(std::string()));
}

std::string Common::iconv_utf8_from_wchar(const std::wstring& text) {
    return directions().wideToUtf8.convert(narrow(text), kWideToBytes).value_or(std::string());
}
