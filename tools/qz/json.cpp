#include "json.h"

#include "core/json_text.h"

#include <charconv>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using Iterator = ConfigParser::iterator;

class Printer {
public:
    std::string take() { return std::move(text_); }

    void value(const Iterator& entry) {
        switch (entry.getType()) {
        case Iterator::kBlock:
            object(entry.begin());
            break;
        case Iterator::kList:
            array(entry.begin());
            break;
        case Iterator::kInteger:
            text_ += std::to_string(entry.getInt());
            break;
        case Iterator::kReal:
            number(entry.getDouble());
            break;
        default:
            text_ += core::jsonText(entry.getString());
        }
    }

    void object(Iterator first) {
        open('{');
        const char* separator = "";
        for (const auto& [name, entries] : grouped(first)) {
            text_ += separator;
            separator = ",";
            line();
            text_ += core::jsonText(name);
            text_ += ": ";
            if (entries.size() == 1) {
                value(entries.front());
            } else {
                array(entries);
            }
        }
        close('}');
    }

private:
    using Group = std::pair<std::string, std::vector<Iterator>>;

    // By name, in the order in which the names first appear.
    static std::vector<Group> grouped(Iterator entry) {
        std::vector<Group> groups;
        std::map<std::string, size_t, std::less<>> places;
        for (; !entry.isEnd(); ++entry) {
            const auto [place, isNew] = places.emplace(entry.name(), groups.size());
            if (isNew) {
                groups.push_back({entry.name(), {}});
            }
            groups[place->second].second.push_back(entry);
        }
        return groups;
    }

    void array(Iterator item) {
        std::vector<Iterator> items;
        for (; !item.isEnd(); ++item) {
            items.push_back(item);
        }
        array(items);
    }

    void array(const std::vector<Iterator>& items) {
        text_ += '[';
        const char* separator = "";
        for (const Iterator& item : items) {
            text_ += separator;
            separator = ", ";
            value(item);
        }
        text_ += ']';
    }

    // The shortest form that reads back the same, with a point, so that readers see a real. JSON
    // has no form for numbers that are not finite.
    void number(double value) {
        if (!std::isfinite(value)) {
            text_ += "null";
            return;
        }
        char digits[32];
        const std::string_view shortest(digits,
                                        std::to_chars(digits, digits + sizeof digits, value).ptr);
        text_ += shortest;
        if (shortest.find_first_of(".e") == std::string_view::npos) {
            text_ += ".0";
        }
    }

    void open(char bracket) {
        text_ += bracket;
        ++depth_;
    }

    void close(char bracket) {
        --depth_;
        if (text_.back() != '{') {
            line();
        }
        text_ += bracket;
    }

    void line() { text_.append("\n").append(2 * depth_, ' '); }

    std::string text_;
    size_t depth_ = 0;
};

} // namespace

std::string jsonObject(ConfigParser::iterator first) {
    Printer printer;
    printer.object(first);
    return printer.take();
}

std::string jsonValue(const ConfigParser::iterator& entry) {
    Printer printer;
    printer.value(entry);
    return printer.take();
}
