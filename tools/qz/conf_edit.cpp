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

// A dotted path: names of entries, and numbers of items in lists.
class Path {
public:
    explicit Path(std::string text) : text_(std::move(text)) {
        std::string_view rest = text_;
        for (size_t dot = rest.find('.'); dot != std::string_view::npos; dot = rest.find('.')) {
            add(rest.substr(0, dot));
            rest.remove_prefix(dot + 1);
        }
        add(rest);
    }

    const std::string& text() const { return text_; }
    size_t size() const { return parts_.size(); }
    const std::string& operator[](size_t i) const { return parts_[i]; }

private:
    void add(std::string_view part) {
        if (part.empty()) {
            throw Failure("'" + text_ + "' is no path: a name is missing");
        }
        parts_.emplace_back(part);
    }

    std::string text_;
    std::vector<std::string> parts_;
};

// std::errc{} if the whole text is a number, result_out_of_range if it is one of another range.
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

// Those of 0x1F; none if the text is no such number.
std::string_view hexadecimalDigits(std::string_view text) {
    text = withoutSign(text);
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return {};
    }
    text.remove_prefix(2);
    return text.find_first_not_of("0123456789abcdefABCDEF") == text.npos ? text
                                                                         : std::string_view();
}

// What the language takes for an integer, with a sign if wanted: hexadecimal numbers have 32 bits.
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

// Whatever its size.
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

// 1e400 and 1e-400.
bool isNoDouble(std::string_view text) {
    double ignored = 0;
    return readNumber(text, ignored) == std::errc::result_out_of_range;
}

// The item of that number; the end if there are as many before it, nothing if there are fewer.
std::optional<Iterator> itemAt(const Iterator& list, const std::string& part) {
    const std::optional<unsigned> index = numberIn<unsigned>(part);
    if (!index) {
        return std::nullopt;
    }
    Iterator item = list.begin();
    for (unsigned i = 0; i < *index; ++i, ++item) {
        if (item.isEnd()) {
            return std::nullopt;
        }
    }
    return item;
}

class Editor {
public:
    Editor(ConfFile& file, const Path& path) : file_(file), path_(path) {}

    Iterator find() {
        Iterator entry = file_.tree().find(path_[0]);
        for (size_t i = 1; i < path_.size() && !entry.isEnd(); ++i) {
            entry = within(entry, i);
        }
        if (entry.isEnd()) {
            fail("is missing");
        }
        return entry;
    }

    void set(const std::string& value, bool asString) {
        Iterator entry = file_.tree().find(path_[0]);
        Iterator end = file_.tree().end();
        for (size_t i = 1; i < path_.size(); ++i) {
            if (entry.isEnd()) {
                entry = end.insertBlock(path_[i - 1]);
            }
            end = entry.end();
            entry = within(entry, i);
        }
        if (entry.isEnd()) {
            insert(end, value, asString);
        } else {
            replace(entry, value, asString);
        }
    }

private:
    // The entry of the next part of the path; the end of the list or block if it is missing.
    Iterator within(const Iterator& entry, size_t part) const {
        if (entry.getType() == Iterator::kList) {
            const std::optional<Iterator> item = itemAt(entry, path_[part]);
            if (!item) {
                fail("leads to no item of a list");
            }
            return *item;
        }
        if (entry.getType() != Iterator::kBlock) {
            fail("leads through a value");
        }
        return entry.find(path_[part]);
    }

    void insert(Iterator& end, const std::string& value, bool asString) const {
        const std::string& name = path_[path_.size() - 1];
        // Items have no names; where a name belongs, the number is none.
        const bool isItem = numberIn<unsigned>(name).has_value();
        const auto number = asString ? std::nullopt : integerIn(value);
        const auto real = asString ? std::nullopt : finiteIn(value);
        if (!asString && !number && isWholeNumber(value)) {
            failToFit(value);
        }
        if (!asString && isNoDouble(value)) {
            fail("cannot be " + value + ": no real is as large or as small; --string sets a text");
        }
        Iterator added;
        if (number) {
            added = isItem ? end.insertInt(*number) : end.insertInt(name, *number);
        } else if (real) {
            added = isItem ? end.insertDouble(*real) : end.insertDouble(name, *real);
        } else {
            added = isItem ? end.insertString(value) : end.insertString(name, value);
        }
        if (added.isEnd()) {
            fail("can not be added");
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

    [[noreturn]] void fail(const std::string& problem) const {
        throw Failure(file_.name() + ": " + path_.text() + " " + problem);
    }

    ConfFile& file_;
    const Path& path_;
};

// Begins again from what others have written meanwhile; each time at least one of them is done.
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
    const Path parts(path);
    printValue(Editor(file, parts).find());
}

void confSet(const std::string& name, const std::string& path, const std::string& value,
             const ConfOptions& options) {
    const Path parts(path);
    repeatedly([&] {
        ConfFile file(name, options.bareLineFeeds);
        file.parse();
        Editor(file, parts).set(value, options.asString);
        file.writeEdited();
    });
}
