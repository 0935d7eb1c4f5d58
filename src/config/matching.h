// A syntactic analysis: where it stands in the lexemes, what it has kept, how far it has come.
#pragma once

#include "config/token.h"
#include "config/tree.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace qz::config {

// The value of an expression, and whether only integers went into it.
struct Number {
    double value = 0;
    bool isInteger = true;
};

class Matching {
public:
    using Table = std::span<const std::shared_ptr<const Token>>;

    Matching(Table table, const Lexemes& lexemes, Tree& tree)
        : table_(table)
        , lexemes_(lexemes)
        , position_(lexemes.tokens.data())
        , furthestFailure_(position_)
        , tree_(tree)
        , output_(&tree.root().entries) {}

    // The next lexeme.
    using Position = const TokenNumber*;

    Position position() const { return position_; }
    void returnTo(Position position) { position_ = position; }

    // Where to return to after a failure, if something may have been kept meanwhile.
    struct Mark {
        Position position;
        Entry* lastKept;
    };

    Mark mark() const { return {position_, output_->last()}; }
    void rewind(const Mark& mark) {
        position_ = mark.position;
        output_->endWith(mark.lastKept);
    }

    bool isAtEnd() const { return *position_ == 0; }
    bool isAt(const Token* token) const { return table_[*position_].get() == token; }
    bool accept(const Token* token) {
        const bool isThere = isAt(token);
        position_ += isThere ? 1 : 0;
        return isThere;
    }
    void advance() { ++position_; }
    bool expect(const Token* token) { return accept(token) || fail(); }

    // Records a failure at the current lexeme, or at the end. False, for callers to return.
    bool fail() {
        furthestFailure_ = std::max(furthestFailure_, position_);
        return false;
    }
    bool hasFailedAtEnd() const { return *furthestFailure_ == 0; }
    Place furthestFailure() const { return placeOf(furthestFailure_); }

    Place placeOf(Position lexeme) const {
        return lexemes_.places[static_cast<std::size_t>(lexeme - lexemes_.tokens.data())];
    }
    std::string_view textOf(Place place) const {
        return tree_.source().substr(place.offset, place.length);
    }
    // The current lexeme's text, and whether nothing stands between it and the lexeme before.
    std::string_view text() const { return textOf(placeOf(position_)); }
    bool isAdjacent() const { return placeOf(position_ - 1).end() == placeOf(position_).offset; }

    // The entry to fill: the one that was offered for the value, else a new one.
    Entry& makeEntry();
    NamedEntry& makeEntry(std::string_view name) { return tree_.makeOriginal(name); }
    void offerForValue(Entry* entry) { offered_ = entry; }

    // Memory that lives as long as the tree.
    char* makeChars(std::size_t count) { return tree_.makeOriginalChars(count); }

    // Adds an entry that was filled from the lexemes since `start`.
    void keep(Entry& entry, Position start);

    // During its lifetime, what is kept goes to another list, `levels` deeper.
    class Nesting {
    public:
        Nesting(Matching& matching, EntryList& output, int levels)
            : matching_(matching)
            , output_(std::exchange(matching.output_, &output))
            , levels_(levels) {
            matching_.depth_ += levels_;
        }
        ~Nesting() {
            matching_.depth_ -= levels_;
            matching_.output_ = output_;
        }
        Nesting(const Nesting&) = delete;
        Nesting& operator=(const Nesting&) = delete;

    private:
        Matching& matching_;
        EntryList* output_;
        int levels_;
    };

    bool isDeepest() const { return depth_ == kMaxDepth; }

private:
    Table table_;
    const Lexemes& lexemes_;
    Position position_;
    Position furthestFailure_;
    Tree& tree_;
    EntryList* output_;
    Entry* offered_ = nullptr;
    int depth_ = 0;
};

} // namespace qz::config
