#include "config/edited_text.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <tuple>
#include <utility>

namespace qz::config {

EditedText::EditedText(const Tree& tree, const IdentifierToken& names)
    : tree_(tree), names_(names), layout_(tree.source()) {
    for (const Entry* entry = tree.erased(); entry != nullptr; entry = entry->next) {
        erased_.push_back({entry->previous, entry->place});
    }
    std::sort(erased_.begin(), erased_.end(), [](const auto& left, const auto& right) {
        return left.list == right.list ? left.place.offset < right.place.offset
                                       : std::less<>()(left.list, right.list);
    });
}

bool EditedText::build(std::string& output) {
    return collectEntries(tree_.root(), 0) && apply(output);
}

// What is left of the longest text, if all of the source were erased.
std::size_t EditedText::room() const {
    return kLongestText + tree_.source().size() - added_;
}

bool EditedText::addEdit(std::size_t from, std::size_t to, Writer& writer) {
    const bool fits = writer.text().size() <= room();
    added_ += writer.text().size();
    edits_.push_back({from, to, std::move(writer.text())});
    return fits;
}

// The depth is that of the list's entries.
bool EditedText::collectEntries(const Entry& list, int depth) {
    if (list.entries.first == nullptr && &list != &tree_.root()) {
        return false;
    }
    for (const Entry* entry = list.entries.first; entry != nullptr; entry = entry->next) {
        if (entry->isOriginal && !collectEntry(*entry, depth)) {
            return false;
        }
    }
    if (!list.areEntriesChanged) {
        return true;
    }
    collectErased(list);
    return collectInserted(list, depth);
}

bool EditedText::collectEntry(const Entry& entry, int depth) {
    if (entry.isNameChanged) {
        if (!names_.matchesAllOf(entry.name())) {
            return false;
        }
        const std::size_t from = entry.place.offset;
        const std::size_t length = names_.lengthAt(tree_.source(), from);
        edits_.push_back({from, from + length, std::string(entry.name())});
    }
    if (entry.isValueChanged) {
        return collectValue(entry, depth);
    }
    return !entry.holdsEntries() || collectEntries(entry, depth + 1);
}

bool EditedText::collectValue(const Entry& entry, int depth) {
    Writer writer(names_, Layout::kLineEnd, Writer::Reals::shortest, {}, depth, room());
    const bool isWritten = writer.addValue(entry);
    const Place place = valuePlaceOf(entry);
    return addEdit(place.offset, place.end(), writer) && isWritten;
}

bool EditedText::collectInserted(const Entry& list, int depth) {
    const Entry* previous = nullptr;
    for (const Entry* entry = list.entries.first; entry != nullptr;) {
        if (entry->isOriginal) {
            previous = std::exchange(entry, entry->next);
            continue;
        }
        const Entry* const first = entry;
        while (entry != nullptr && !entry->isOriginal) {
            entry = entry->next;
        }
        const Inserted inserted{first, previous, entry};
        const bool isDone = list.type == Type::kList ? insertItems(list, inserted, depth)
                                                     : insertEntries(list, inserted, depth);
        if (!isDone) {
            return false;
        }
    }
    return true;
}

// Inserts on lines of their own if the neighbour has one, and never between an entry and a comment
// that belongs to it.
bool EditedText::insertEntries(const Entry& list, const Inserted& inserted, int depth) {
    if (inserted.previous != nullptr) {
        const std::size_t offset = inserted.previous->place.end();
        const Indentation indentation{layout_.indentationAt(inserted.previous->place.offset)};
        if (const auto lineEnd = layout_.lineEndAfterComments(offset)) {
            const std::size_t end = layout_.endOfCommentLines(offset, *lineEnd, indentation.blanks);
            return insert(inserted, {end, indentation, Space::newLine, Space::none}, depth);
        }
        return insert(inserted, {offset, indentation, Space::blank, Space::none}, depth);
    }
    if (inserted.next != nullptr) {
        const std::size_t offset = layout_.beginOfComments(contentsBefore(list, *inserted.next),
                                                           inserted.next->place.offset);
        const Space behind = layout_.lineBegin(offset) ? Space::newLine : Space::blank;
        return insert(inserted, {offset, {layout_.indentationAt(offset)}, Space::none, behind},
                      depth);
    }
    return insertEntriesWhereNoneAre(list, inserted, depth);
}

// Where the blanks and comments before the first remaining entry of a list begin: at the list's
// beginning, or behind the last erased entry before it.
std::size_t EditedText::contentsBefore(const Entry& list, const Entry& first) const {
    std::size_t begin = &list == &tree_.root() ? 0 : layout_.braceFrom(list.place.offset) + 1;
    for (const Place& erased : erasedIn(list)) {
        if (erased.offset < first.place.offset) {
            begin = erased.end();
        }
    }
    return begin;
}

bool EditedText::insertEntriesWhereNoneAre(const Entry& list, const Inserted& inserted, int depth) {
    if (&list == &tree_.root()) {
        const std::size_t end = tree_.source().size();
        if (end > 0 && !layout_.endsInLineEnd()) {
            edits_.push_back({end, end, std::string(Layout::kLineEnd)});
        }
        return insert(inserted, {end, {}, Space::none, Space::lineEnd}, depth);
    }
    const std::size_t closing = closingBraceOf(list);
    const Indentation indentation{layout_.indentationAt(list.place.offset), 1};
    if (const auto lineBegin = layout_.lineBegin(closing)) {
        return insert(inserted, {*lineBegin, indentation, Space::indentation, Space::lineEnd},
                      depth);
    }
    return insert(inserted, {closing, indentation, Space::none, Space::blank}, depth);
}

bool EditedText::insert(const Inserted& inserted, const Spot& spot, int depth) {
    Writer writer(names_, Layout::kLineEnd, Writer::Reals::shortest, spot.indentation, depth,
                  room());
    bool isWritten = true;
    for (const Entry* entry = inserted.first; isWritten && entry != inserted.next;
         entry = entry->next) {
        addSpace(writer, spot.before);
        isWritten = entry->isNamed ? writer.addEntry(*entry) : writer.addValue(*entry);
        addSpace(writer, spot.behind);
    }
    return addEdit(spot.offset, spot.offset, writer) && isWritten;
}

void EditedText::addSpace(Writer& writer, Space space) {
    switch (space) {
    case Space::none:
        break;
    case Space::blank:
        writer.addText(" ");
        break;
    case Space::comma:
        writer.addText(", ");
        break;
    case Space::lineEnd:
        writer.addText(Layout::kLineEnd);
        break;
    case Space::commaAndNewLine:
        writer.addText(",");
        [[fallthrough]];
    case Space::newLine:
        writer.addText(Layout::kLineEnd);
        [[fallthrough]];
    case Space::indentation:
        writer.addIndentation();
        break;
    }
}

void EditedText::collectErased(const Entry& list) {
    std::vector<Place> erased = erasedIn(list);
    if (list.type == Type::kList && !erased.empty()) {
        appendCommas(list, erased);
    }
    // Entries with only blanks between them are erased together.
    for (std::size_t i = 0; i < erased.size();) {
        const std::size_t from = erased[i].offset;
        std::size_t to = erased[i].end();
        while (++i < erased.size() && layout_.skipBlanks(to) == erased[i].offset) {
            to = erased[i].end();
        }
        erase(from, to);
    }
}

std::vector<Place> EditedText::erasedIn(const Entry& list) const {
    const auto [first, last] = std::equal_range(
        erased_.begin(), erased_.end(), Erased{&list, {}},
        [](const auto& left, const auto& right) { return std::less<>()(left.list, right.list); });
    std::vector<Place> places;
    std::transform(first, last, std::back_inserter(places),
                   [](const Erased& erased) { return erased.place; });
    return places;
}

// Erases with the blanks around, or with the whole line if nothing else stands in it.
void EditedText::erase(std::size_t from, std::size_t to) {
    const auto lineBegin = layout_.lineBegin(from);
    const auto lineEnd = layout_.lineEnd(to);
    if (lineBegin && lineEnd) {
        from = *lineBegin;
        to = std::min(*lineEnd + Layout::kLineEnd.size(), tree_.source().size());
    } else if (lineEnd) {
        from = layout_.skipBlanksBack(from);
        to = *lineEnd;
    } else {
        to = layout_.skipBlanks(to);
    }
    edits_.push_back({from, to, {}});
}

bool EditedText::apply(std::string& output) {
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& left, const Edit& right) {
        return std::tie(left.from, left.to) < std::tie(right.from, right.to);
    });
    std::size_t length = tree_.source().size();
    for (const Edit& edit : edits_) {
        length = length + edit.text.size() - (edit.to - edit.from);
    }
    if (length > kLongestText) {
        return false;
    }
    output.reserve(length);
    std::size_t done = 0;
    for (const Edit& edit : edits_) {
        output.append(tree_.source(), done, edit.from - done);
        output += edit.text;
        done = edit.to;
    }
    output.append(tree_.source(), done);
    return true;
}

} // namespace qz::config
