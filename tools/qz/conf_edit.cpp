#include "conf_commands.h"
#include "conf_file.h"
#include "failure.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace {

using Iterator = ConfigParser::iterator;

// std::errc{} if the whole text is a number, result_out_of_range if the number does not fit the
// type.
template<class Number, class... Base>
std::errc readNumber(std::string_view text, Number& number, Base... base) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, base...);
    return end == text.data() + text.size() ? error : std::errc::invalid_argument;
}

template<class Number, class... Base>
std::optional<Number> numberIn(std::string_view text, Base... base) {
    Number number{};
    return readNumber(text, number, base...) == std::errc{} ? std::optional(number) : std::nullopt;
}

std::string_view withoutSign(std::string_view text) {
    return text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
}

// The digits of a number such as 0x1F; empty if the text is no such number.
std::string_view hexadecimalDigits(std::string_view text) {
    text = withoutSign(text);
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return {};
    }
    text.remove_prefix(2);
    return text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos
               ? text
               : std::string_view();
}

// An integer of the language, with an optional sign; hexadecimal numbers have 32 bits.
std::optional<int> integerIn(std::string_view text) {
    if (text == "true" || text == "false") {
        return text == "true" ? 1 : 0;
    }
    if (const std::string_view digits = hexadecimalDigits(text); !digits.empty()) {
        const std::optional<unsigned> bits = numberIn<unsigned>(digits, 16);
        const auto value = static_cast<std::int64_t>(static_cast<int>(bits.value_or(0)));
        const std::int64_t signedValue = text.starts_with('-') ? -value : value;
        const bool fits = bits && signedValue <= std::numeric_limits<int>::max();
        return fits ? std::optional(static_cast<int>(signedValue)) : std::nullopt;
    }
    return numberIn<int>(text);
}

// Also true for a number that fits no type.
bool isWholeNumber(std::string_view text) {
    if (!hexadecimalDigits(text).empty()) {
        return true;
    }
    const std::string_view digits = withoutSign(text);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<double> finiteIn(std::string_view text) {
    const std::optional<double> number = numberIn<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

// True for 1e400 and 1e-400.
bool isNoDouble(std::string_view text) {
    double ignored = 0;
    return readNumber(text, ignored) == std::errc::result_out_of_range;
}

// One entry of a file, by its path.
class Editor {
public:
    Editor(ConfFile& file, const std::string& path) : file_(file), path_(path) {
        if (("." + path + ".").find("..") != std::string::npos) {
            throw Failure("'" + path + "' is no path: a name is missing");
        }
    }

    Iterator find() const {
        const Iterator entry = file_.tree().findPath(path_);
        if (entry.isEnd()) {
            failToFind("is missing");
        }
        return entry;
    }

    void set(const std::string& value, bool asString) const {
        Iterator entry = file_.tree().findPath(path_);
        if (entry.isEnd()) {
            add(value, asString);
        } else {
            replace(entry, value, asString);
        }
    }

private:
    void add(const std::string& value, bool asString) const {
        const auto number = asString ? std::nullopt : integerIn(value);
        const auto real = asString ? std::nullopt : finiteIn(value);
        if (!asString && !number && isWholeNumber(value)) {
            failToFit(value);
        }
        if (!asString && isNoDouble(value)) {
            fail("cannot be " + value + ": no real is as large or as small; --string sets a text");
        }
        ConfigParser& tree = file_.tree();
        const bool isAdded = number ? tree.setPath(path_, *number)
                             : real ? tree.setPath(path_, *real)
                                    : tree.setPath(path_, value);
        if (!isAdded) {
            failToFind("cannot be added: it has a name that is no identifier, or too many names");
        }
    }

    void replace(Iterator& entry, const std::string& value, bool asString) const {
        switch (asString ? Iterator::kString : entry.getType()) {
        case Iterator::kInteger:
            if (!integerIn(value) && isWholeNumber(value)) {
                failToFit(value);
            }
            entry.set(required(integerIn(value), "an integer", value));
            break;
        case Iterator::kReal:
            entry.set(required(finiteIn(value), "a real", value));
            break;
        case Iterator::kString:
            if (entry.set(value)) {
                break;
            }
            [[fallthrough]];
        default:
            fail("is a block or a list, which cannot be set as a whole");
        }
    }

    template<class Number>
    Number required(std::optional<Number> number, const char* type,
                    const std::string& value) const {
        if (!number) {
            fail(std::string("is ") + type + ", and '" + value + "' is none");
        }
        return *number;
    }

    [[noreturn]] void failToFit(const std::string& value) const {
        fail("cannot be " + value + ": an integer is from -2147483648 to 2147483647");
    }

    // Names the entry on the path that is neither the file nor a block.
    [[noreturn]] void failToFind(const char* problem) const {
        Iterator around;
        for (size_t dot = path_.rfind('.'); around.isEnd() && dot != std::string::npos;
             dot = path_.rfind('.', dot - 1)) {
            around = file_.tree().findPath(path_.substr(0, dot));
        }
        if (around.isEnd() || around.getType() == Iterator::kBlock) {
            fail(problem);
        }
        fail(around.getType() == Iterator::kList ? "leads to no item of a list"
                                                 : "leads through a value");
    }

    [[noreturn]] void fail(const std::string& problem) const {
        throw Failure(file_.name() + ": " + path_ + " " + problem);
    }

    ConfFile& file_;
    const std::string& path_;
};

// Begins again if another program has written the file meanwhile. In each turn at least one program
// succeeds.
template<class Change>
void repeatedly(Change change) {
    constexpr int kMostOften = 1000;
    for (int i = 1; i < kMostOften; ++i) {
        try {
            return change();
        } catch (const ChangedMeanwhile&) { // once more
        }
    }
    change();
}

} // namespace

void confGet(const std::string& name, const std::string& path, const ConfOptions& options) {
    ConfFile file(name, options.bareLineFeeds);
    file.parse();
    printValue(Editor(file, path).find());
}

void confSet(const std::string& name, const std::string& path, const std::string& value,
             const ConfOptions& options) {
    repeatedly([&] {
        ConfFile file(name, options.bareLineFeeds);
        file.parse();
        Editor(file, path).set(value, options.asString);
        file.writeEdited();
    });
}
