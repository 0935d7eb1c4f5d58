// Items of lists, and the commas between them.
#include "config/edited_text.h"

#include <algorithm>
#include <iterator>

namespace qz::config {

bool EditedText::insertItems(const Entry& list, const Inserted& inserted, int depth) {
    if (inserted.previous != nullptr) {
        const std::size_t offset = inserted.previous->place.end();
        return isLineOfMany(*inserted.previous)
                   ? insertItemLines(inserted, depth)
                   : insert(inserted, {offset, {}, Space::comma, Space::none}, depth);
    }
    if (inserted.next != nullptr) {
        const Place first = inserted.next->place;
        if (!isOnLineOfItsOwn(first)) {
            return insert(inserted, {first.offset, {}, Space::none, Space::comma}, depth);
        }
        const bool isFirst = erasedIn(list).empty();
        const std::size_t offset =
            isFirst ? layout_.beginOfComments(contentsBefore(list, *inserted.next), first.offset)
                    : first.offset;
        const Indentation indentation{layout_.indentationAt(first.offset)};
        return insert(inserted, {offset, indentation, Space::none, Space::commaAndNewLine}, depth);
    }
    return insertItemsWhereNoneAre(list, inserted, depth);
}

// Inserts items on lines of their own if the first erased item had one.
bool EditedText::insertItemsWhereNoneAre(const Entry& list, const Inserted& inserted, int depth) {
    const std::size_t closing = closingBraceOf(list);
    const std::vector<Place> erased = erasedIn(list);
    if (erased.empty() || !isOnLineOfItsOwn(erased.front())) {
        const bool isDone = insert(inserted, {closing, {}, Space::comma, Space::none}, depth);
        edits_.back().text.erase(0, 2); // no item stands before the first
        return isDone;
    }
    const Indentation indentation{layout_.indentationAt(erased.front().offset)};
    const auto lineBegin = layout_.lineBegin(closing);
    const Spot spot{lineBegin.value_or(closing), indentation, Space::commaAndNewLine, Space::none};
    const bool isDone = insert(inserted, spot, depth);
    std::string& text = edits_.back().text;
    text.erase(0, 1 + Layout::kLineEnd.size()); // the line exists already
    if (lineBegin) {
        text += Layout::kLineEnd;
    } else {
        text.erase(0, indentation.blanks.size());
    }
    return isDone;
}

// Inserts lines behind an item that ends its line, and behind the item's comments.
bool EditedText::insertItemLines(const Inserted& inserted, int depth) {
    const Place previous = inserted.previous->place;
    const bool hasComma = commaBehind(previous).has_value();
    const std::size_t behind = commaBehind(previous).value_or(previous.end());
    const Indentation indentation{layout_.indentationAt(previous.offset)};
    const auto lineEnd = layout_.lineEndAfterComments(behind); // none: the list ends in this line
    const std::size_t offset =
        lineEnd ? layout_.endOfCommentLines(behind, *lineEnd, indentation.blanks) : behind;
    if (!hasComma) {
        edits_.push_back({previous.end(), previous.end(), ","});
    }
    const bool isDone =
        insert(inserted, {offset, indentation, Space::commaAndNewLine, Space::none}, depth);
    std::string& text = edits_.back().text;
    text.erase(0, 1); // the comma stands behind the item
    if (hasComma && inserted.next != nullptr) {
        text += ",";
    }
    return isDone;
}

// The offset behind the comma that follows an item directly; nothing if none does.
std::optional<std::size_t> EditedText::commaBehind(const Place& item) const {
    const std::size_t behind = layout_.skipBlanks(item.end());
    const bool isComma = tree_.source().substr(behind).starts_with(',');
    return isComma ? std::optional(behind + 1) : std::nullopt;
}

// Whether an item shares its line with nothing but a comma and comments.
bool EditedText::isOnLineOfItsOwn(const Place& item) const {
    return layout_.lineBegin(item.offset) &&
           layout_.lineEndAfterComments(commaBehind(item).value_or(item.end()));
}

// Whether items behind this one get lines of their own. The list may end in this item's line.
bool EditedText::isLineOfMany(const Entry& item) const {
    const std::size_t behind = layout_.skipBlanks(item.place.end());
    const bool isAlone = isOnLineOfItsOwn(item.place) ||
                         (layout_.lineBegin(item.place.offset) && tree_.source()[behind] == '}');
    const Entry& before = *item.previous;
    const bool isFirst = before.next == nullptr;
    return isAlone && (isFirst || !before.isOriginal || isOnLineOfItsOwn(before.place));
}

// Adds the commas to erase. A comma stays if the item before it stays. But the last staying item's
// comma is erased unless items are inserted behind it on lines of their own.
void EditedText::appendCommas(const Entry& list, std::vector<Place>& erased) const {
    std::vector<Item> items;
    std::transform(erased.begin(), erased.end(), std::back_inserter(items), [](const Place& place) {
        return Item{place, true};
    });
    const Entry* lastStaying = nullptr;
    for (const Entry* item = list.entries.first; item != nullptr; item = item->next) {
        if (item->isOriginal) {
            items.push_back({item->place, false});
            lastStaying = item;
        }
    }
    const bool keepsComma = lastStaying != nullptr && lastStaying->next != nullptr &&
                            commaBehind(lastStaying->place) && isLineOfMany(*lastStaying);
    const auto byOffset = [](const auto& left, const auto& right) {
        return left.offset < right.offset;
    };
    std::sort(items.begin(), items.end(), [&](const Item& left, const Item& right) {
        return byOffset(left.place, right.place);
    });
    for (std::size_t i = 0; i + 1 < items.size(); ++i) {
        const Item& item = items[i];
        const bool isLast = !item.isErased && item.place.offset == lastStaying->place.offset;
        if (item.isErased || (isLast && !keepsComma)) {
            const std::size_t comma = layout_.commaFrom(item.place.end());
            erased.push_back({static_cast<std::uint32_t>(comma), 1});
        }
    }
    std::sort(erased.begin(), erased.end(), byOffset);
}

} // namespace qz::config
