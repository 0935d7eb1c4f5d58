#include "field_walk.h"

#include <cstdint>

namespace {

using Common::Field;
using Common::FieldKind;
using Step = FieldWalk::Step;

} // namespace

std::uint64_t compactOf(Bytes bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        value |= std::uint64_t{bytes[i] & 0x7FU} << 7 * i;
    }
    return value;
}

std::size_t sizeOfElement(FieldKind kind) {
    return kind == FieldKind::kDouble  ? sizeof(double)
           : kind == FieldKind::kFloat ? sizeof(float)
                                       : 1;
}

FieldWalk::FieldWalk(const Field& values, Bytes bytes, std::size_t references)
    : bytes_(bytes), references_(references) {
    open_.push_back({&values, values.fields.size(), 0, 0});
}

Step FieldWalk::next() {
    if (open_.empty()) {
        return Step::kEnd;
    }
    before_ = bytes_;
    Open& open = open_.back();
    const bool isList = open.field->kind == FieldKind::kList;
    const std::size_t left = bytes_.size() + references_;
    if (open.done == open.count) {
        return close();
    }
    // Each item has a byte or a reference.
    if (isList && (open.field->fields.empty() || open.left == left)) {
        return stop();
    }
    open.left = left;
    item_ = isList ? open.done + 1 : 0;
    const Field& field = open.field->fields[isList ? 0 : open.done];
    ++open.done;
    name_ = &field.name;
    return take(field);
}

Step FieldWalk::close() {
    if (open_.back().field->varies && open_.back().field->kind == FieldKind::kGroup) {
        return stop();
    }
    open_.pop_back();
    return open_.empty() ? Step::kEnd : Step::kClose;
}

// In front of what could not be taken.
Step FieldWalk::stop() {
    bytes_ = before_;
    open_.clear();
    return Step::kEnd;
}

Step FieldWalk::take(const Field& field) {
    field_ = &field;
    switch (field.kind) {
    case FieldKind::kGroup:
        open_.push_back({&field, field.fields.size(), 0, 0});
        return Step::kBegin;
    case FieldKind::kList:
        return takeList(field);
    case FieldKind::kOptional:
        return takeOptional(field);
    case FieldKind::kReference:
        return references_ == 0 ? stop() : (--references_, Step::kReference);
    case FieldKind::kRow: {
        std::uint64_t count = 0;
        return readCompact(count) ? takeRow(field, count) : stop();
    }
    case FieldKind::kFixedRow:
        return takeRow(field, field.count);
    case FieldKind::kSigned:
    case FieldKind::kUnsigned:
        return takeCompact();
    case FieldKind::kFloat:
    case FieldKind::kDouble:
        return takeValue(sizeOfElement(field.kind));
    default:
        return takeValue(1);
    }
}

Step FieldWalk::takeValue(std::size_t size) {
    if (size > bytes_.size()) {
        return stop();
    }
    value_ = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return Step::kValue;
}

Step FieldWalk::takeRow(const Field& field, std::uint64_t count) {
    const std::size_t size = sizeOfElement(field.element);
    return count > bytes_.size() / size ? stop()
                                        : takeValue(static_cast<std::size_t>(count) * size);
}

Step FieldWalk::takeCompact() {
    const Bytes before = bytes_;
    std::uint64_t value = 0;
    if (!readCompact(value)) {
        return stop();
    }
    value_ = before.first(before.size() - bytes_.size());
    return Step::kValue;
}

Step FieldWalk::takeList(const Field& field) {
    std::uint64_t count = 0;
    if (!readCompact(count) || count > bytes_.size() + references_) {
        return stop();
    }
    count_ = static_cast<std::size_t>(count);
    open_.push_back({&field, count_, 0, static_cast<std::size_t>(-1)});
    return Step::kBegin;
}

// Under the name of the optional value.
Step FieldWalk::takeOptional(const Field& field) {
    if (takeValue(1) == Step::kEnd) {
        return Step::kEnd;
    }
    if (value_[0] == 0) {
        return Step::kAbsent;
    }
    return field.fields.empty() ? stop() : take(field.fields[0]);
}

bool FieldWalk::readCompact(std::uint64_t& value) {
    std::size_t size = 0;
    while (size < bytes_.size() && size < 10) {
        if (bytes_[size++] < 0x80) {
            value = compactOf(bytes_.first(size));
            bytes_ = bytes_.subspan(size);
            return true;
        }
    }
    return false;
}
