// The text that was parsed, with the changes of its tree put into their places.
#pragma once

#include "config/layout.h"
#include "config/lexical_tokens.h"
#include "config/tree.h"
#include "config/writer.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace qz::config {

class EditedText {
public:
    EditedText(const Tree& tree, const IdentifierToken& names);

    // False if a change has no text that could be read again, as with Writer, or if the whole text
    // would be too long.
    bool build(std::string& output);

private:
    // Replaces [from, to) of the text.
    struct Edit {
        std::size_t from;
        std::size_t to;
        std::string text;
    };
    struct Item {
        Place place;
        bool isErased;
    };
    struct Erased {
        const Entry* list;
        Place place;
    };
    // Entries that were inserted one after the other, and the text's own entries before and behind
    // them; null if there is none.
    struct Inserted {
        const Entry* first;
        const Entry* previous;
        const Entry* next;
    };

    // What is written in front of a new entry or behind it, and where new entries are written.
    enum class Space { none, blank, comma, commaAndNewLine, lineEnd, indentation, newLine };
    struct Spot {
        std::size_t offset;
        Indentation indentation;
        Space before;
        Space behind;
    };

    bool collectEntries(const Entry& list, int depth);
    bool collectEntry(const Entry& entry, int depth);
    bool collectValue(const Entry& entry, int depth);
    bool collectInserted(const Entry& list, int depth);
    bool insertEntries(const Entry& list, const Inserted& inserted, int depth);
    bool insertEntriesWhereNoneAre(const Entry& list, const Inserted& inserted, int depth);
    std::size_t contentsBefore(const Entry& list, const Entry& first) const;
    bool insertItems(const Entry& list, const Inserted& inserted, int depth);
    bool insertItemsWhereNoneAre(const Entry& list, const Inserted& inserted, int depth);
    bool insertItemLines(const Inserted& inserted, int depth);
    std::optional<std::size_t> commaBehind(const Place& item) const;
    bool isOnLineOfItsOwn(const Place& item) const;
    bool isLineOfMany(const Entry& item) const;
    bool insert(const Inserted& inserted, const Spot& spot, int depth);
    static void addSpace(Writer& writer, Space space);
    void collectErased(const Entry& list);
    std::vector<Place> erasedIn(const Entry& list) const;
    void appendCommas(const Entry& list, std::vector<Place>& erased) const;
    void erase(std::size_t from, std::size_t to);
    std::size_t room() const;
    bool addEdit(std::size_t from, std::size_t to, Writer& writer);
    bool apply(std::string& output);

    const Tree& tree_;
    const IdentifierToken& names_;
    Layout layout_;
    std::vector<Erased> erased_; // by list, then by place
    std::vector<Edit> edits_;
    std::size_t added_ = 0; // bytes that writers have added to the edits
};

} // namespace qz::config
