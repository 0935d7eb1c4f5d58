#include "serial/naming.h"

#include <cstring>
#include <utility>

namespace serial {

namespace {

// What objects of many shapes would make of a class.
constexpr std::size_t kMostFields = std::size_t{1} << 15;
constexpr std::size_t kDeepestOpen = kDeepestFields / 4;

bool isSame(const char* one, const char* other) {
    return one == other || (one != nullptr && other != nullptr && std::strcmp(one, other) == 0);
}

} // namespace

bool Naming::Learnt::isLike(const Learnt& other) const {
    return kind == other.kind && element == other.element && count == other.count &&
           isSame(name, other.name);
}

void Naming::Learnt::cut(std::size_t at) noexcept {
    varies = true;
    if (at < fields.size()) {
        fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(at), fields.end());
    }
}

void Naming::beginRecord(std::size_t classNumber) {
    if (classNumber >= classes_.size()) {
        classes_.resize(classNumber + 1, {nullptr, Kind::kGroup});
    }
    lost_ = 0;
    open_.clear();
    open_.push_back({&classes_[classNumber], 0});
}

void Naming::endRecord() noexcept {
    close();
}

// Where in its group a field stands that was announced, and did not come.
void Naming::settle(Open& open) noexcept {
    if (open.optional != nullptr || open.row != nullptr) {
        open.optional = open.row = nullptr;
        open.field->cut(open.field->repeats() ? 0 : open.done - 1);
    }
}

Naming::Learnt* Naming::add(Learnt& outer, std::size_t at, Learnt&& field) {
    if (at < outer.fields.size()) {
        if (outer.fields[at].isLike(field)) {
            return &outer.fields[at];
        }
        outer.cut(at);
        return nullptr;
    }
    if (outer.varies || outer.isWhole || count_ == kMostFields) {
        outer.varies = true;
        return nullptr;
    }
    ++count_;
    return &outer.fields.emplace_back(std::move(field));
}

// The field that comes next; null if it is not told.
Naming::Learnt* Naming::next(Learnt field) {
    if (lost_ > 0) {
        return nullptr;
    }
    Open& open = open_.back();
    if (Learnt* const holder = std::exchange(open.optional, nullptr)) {
        return add(*holder, 0, std::move(field));
    }
    settle(open);
    const std::size_t at = open.done++;
    if (!open.field->repeats()) {
        return add(*open.field, at, std::move(field));
    }
    if (at == open.count) {
        open.field->cut(0);
    }
    return add(*open.field, 0, std::move(field));
}

void Naming::value(const char* name, Kind kind) {
    next({name, kind});
}

void Naming::length(const char* name, std::size_t length) {
    Learnt* const row = next({name, Kind::kRow});
    if (row != nullptr && length != 0) {
        open_.back().row = row;
        open_.back().rowLength = length;
    }
}

void Naming::row(const char* name, Kind element, std::size_t count) {
    if (lost_ > 0) {
        return;
    }
    Open& open = open_.back();
    if (open.row == nullptr || open.rowLength != count) {
        const bool fits = count <= UINT32_MAX;
        next({name, Kind::kFixedRow, element, fits ? static_cast<std::uint32_t>(count) : 0});
        if (!fits) {
            lose();
        }
    } else if (open.row->fields.empty()) {
        open.row->fields.push_back({nullptr, element});
        open.row = nullptr;
    } else if (open.row->fields[0].kind == element) {
        open.row = nullptr;
    } else {
        settle(open);
    }
}

void Naming::optional(const char* name, bool isThere) {
    Learnt* const field = next({name, Kind::kOptional});
    if (field != nullptr && isThere) {
        open_.back().optional = field;
    }
}

void Naming::open(const char* name, Kind kind, std::size_t count) {
    Learnt* const field = next({name, kind});
    if (field == nullptr) {
        ++lost_;
    } else if (open_.size() == kDeepestOpen) {
        field->cut(0);
        ++lost_;
    } else {
        open_.push_back({field, count});
    }
}

void Naming::close() noexcept {
    if (lost_ > 0) {
        --lost_;
        return;
    }
    Open& open = open_.back();
    settle(open);
    Learnt& field = *open.field;
    if (!field.repeats()) {
        if (open.done < field.fields.size()) {
            field.cut(open.done);
        }
        field.isWhole = true;
    } else if (open.done != open.count) {
        field.cut(0);
    }
    open_.pop_back();
}

void Naming::lose() noexcept {
    if (lost_ == 0) {
        Open& open = open_.back();
        settle(open);
        open.field->cut(open.field->repeats() ? 0 : open.done);
    }
}

// Values without bytes are left out, so that a reader finds some behind each.
std::vector<Common::Field> Naming::fieldsIn(const Learnt& learnt) {
    std::vector<Common::Field> fields;
    for (const Learnt& inner : learnt.fields) {
        Common::Field field = fieldOf(inner);
        if (field.kind != Kind::kGroup || field.varies || !field.fields.empty()) {
            fields.push_back(std::move(field));
        }
    }
    return fields;
}

// A value that is made of one without a name is that one: a string is its characters.
Common::Field Naming::fieldOf(const Learnt& learnt) {
    const Learnt* told = &learnt;
    while (told->kind == Kind::kGroup && !told->varies && told->fields.size() == 1 &&
           told->fields[0].name == nullptr) {
        told = told->fields.data();
    }
    Common::Field field;
    field.name = learnt.name == nullptr ? "" : learnt.name;
    field.kind = told->kind;
    field.varies = told->varies;
    field.count = told->count;
    if (told->kind == Kind::kFixedRow) {
        field.element = told->element;
    } else if (told->kind != Kind::kRow) {
        field.fields = fieldsIn(*told);
    } else if (!told->fields.empty()) {
        field.element = told->fields[0].kind;
    }
    return field;
}

std::vector<Common::Field> Naming::fields() const {
    std::vector<Common::Field> fields;
    for (const Learnt& learnt : classes_) {
        Common::Field& field = fields.emplace_back();
        field.varies = learnt.varies;
        field.fields = fieldsIn(learnt);
    }
    return fields;
}

} // namespace serial
