// A list of lexemes under syntactic analysis: where it stands, what was kept, how far it came.
#pragma once

#include "config/token.h"
#include "config/tree.h"

#include <algorithm>
#include <cstddef>
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
    Matching(std::span<const Lexeme> lexemes, Tree& tree)
        : position_(lexemes.data())
        , end_(position_ + lexemes.size())
        , furthestFailure_(position_)
        , tree_(tree)
        , output_(&tree.root().entries) {}

    // Where to return to after a failure.
    struct Mark {
        const Lexeme* position;
        Entry* lastKept;
    };

    Mark mark() const { return {position_, output_->last()}; }
    void rewind(const Mark& mark) {
        position_ = mark.position;
        output_->endWith(mark.lastKept);
    }

    bool isAtEnd() const { return position_ == end_; }
    bool isAt(const Token* token) const { return !isAtEnd() && position_->token == token; }
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
    bool hasFailedAtEnd() const { return furthestFailure_ == end_; }
    Place furthestFailure() const { return furthestFailure_->place; }

    std::span<const Lexeme> lexemesSince(const Mark& start) const {
        return {start.position, position_};
    }
    std::string_view textOf(const Lexeme& lexeme) const {
        return tree_.source().substr(lexeme.place.offset, lexeme.place.length);
    }
    // Of the current lexeme, and whether it follows its neighbour without anything between.
    std::string_view text() const { return textOf(*position_); }
    bool isAdjacent() const { return position_[-1].place.end() == position_->place.offset; }

    // An entry to fill; it belongs to what the value becomes a part of, if that has one ready.
    Entry& makeEntry();
    NamedEntry& makeEntry(std::string_view name) { return tree_.makeOriginal(name); }
    void offerForValue(Entry* entry) { offered_ = entry; }

    // Memory that lives as long as the tree.
    char* makeChars(std::size_t count) { return tree_.makeOriginalChars(count); }

    // Adds an entry that was filled by what was matched since the mark.
    void keep(Entry& entry, const Mark& start);

    // As long as it lives, what is kept goes into a list of its own.
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
    const Lexeme* position_;
    const Lexeme* end_;
    const Lexeme* furthestFailure_;
    Tree& tree_;
    EntryList* output_;
    Entry* offered_ = nullptr;
    int depth_ = 0;
};

} // namespace qz::config
