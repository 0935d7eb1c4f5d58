// Files that name their fields: a record more tells what the values of the others are.
#include "Serial/CommonSerializer.h"
#include "serial/serializer_state.h"

#include <cstring>
#include <utility>

namespace Common {

namespace {

bool isRow(FieldKind kind) {
    return kind == FieldKind::kRow || kind == FieldKind::kFixedRow;
}

bool hasOneField(FieldKind kind) {
    return kind == FieldKind::kList || kind == FieldKind::kOptional;
}

bool isElement(FieldKind kind) {
    return kind == FieldKind::kFloat || kind == FieldKind::kDouble ||
           (kind >= FieldKind::kCharacter && kind <= FieldKind::kUnsignedByte);
}

// What is wrong with a field that was read, or null. Each has bytes, so that a short file has no
// long contents.
const char* wrongIn(const Field& field) {
    if (field.kind < FieldKind::kBool || field.kind > FieldKind::kReference) {
        return "a kind that does not exist";
    }
    if (field.name.size() > serial::kMostNameBytes) {
        return "a name that is too long";
    }
    if (isRow(field.kind) && !isElement(field.element)) {
        return "a row of what is in none";
    }
    if (field.kind == FieldKind::kFixedRow && field.count == 0) {
        return "a row without elements";
    }
    if (hasOneField(field.kind) && field.fields.size() > 1) {
        return "more than one field";
    }
    return nullptr;
}

} // namespace

void Field::serialize(CommonSerializer& serializer) {
    serializer.transfer("name", name);
    serializer.transfer("kind", kind);
    if (isRow(kind)) {
        serializer.transfer("element", element);
        if (kind == FieldKind::kFixedRow) {
            serializer.transfer("count", count);
        }
    } else if (kind == FieldKind::kGroup || hasOneField(kind)) {
        serializer.transfer("varies", varies);
        serializer.transfer("fields", fields);
        for (const Field& field : fields) {
            if (field.kind == FieldKind::kGroup && field.fields.empty() && !field.varies) {
                serializer.fail("a group without fields");
            }
        }
    }
    if (const char* const wrong = wrongIn(*this)) {
        serializer.fail(wrong);
    }
}

// The room behind the cursor is hidden again, so that the next value comes here, too.
void CommonSerializer::putNamed(const void* bytes, std::size_t size) {
    if (prepareMore(size)) {
        std::memcpy(cursor_, bytes, size);
        cursor_ += size;
        end_ = cursor_;
    }
}

void CommonSerializer::putNamedCompact(std::uint64_t value, FieldKind kind) {
    serial::Naming& naming = *state_->naming;
    if (kind == FieldKind::kList) {
        naming.open(name_, kind, static_cast<std::size_t>(value));
    } else if (kind == FieldKind::kRow) {
        naming.length(name_, static_cast<std::size_t>(value));
    } else {
        naming.value(name_, kind);
    }
    if (prepareMore(kMostCompact)) {
        writeCompact<FieldKind::kUnsigned>(value);
        end_ = cursor_;
    }
}

void CommonSerializer::saveFields() {
    State& state = *state_;
    state.fields = state.naming->fields();
    state.naming.reset();
    tellsLevels_ = false;
    state.objectNode = 0;
    beginRecord(state.version, 0);
    transferFields();
    if (usedBytes() > serial::kMostFieldBytes) {
        fail("more names of fields than a file can have");
    }
    if (isGood()) {
        endRecord();
    }
}

void CommonSerializer::loadFields() {
    State& state = *state_;
    openRecord();
    if (isGood() && !state.mentioned.empty()) {
        fail("fields that refer to objects");
    }
    if (isGood() && static_cast<std::size_t>(end_ - cursor_) > serial::kMostFieldBytes) {
        fail("more names of fields than a file can have");
    }
    transferFields();
    if (isGood() && (cursor_ != end_ || state.fields.size() != state.classes.size() + 1)) {
        fail("fields of other classes");
    }
}

// The caller's limit is for the caller's values.
void CommonSerializer::transferFields() {
    const std::uint32_t limit = std::exchange(depthLimit_, serial::kDeepestFields);
    transfer("fields", state_->fields);
    depthLimit_ = limit;
}

std::vector<FieldsOfClass> CommonSerializer::getFields() const {
    std::vector<FieldsOfClass> classes;
    if (isLoading_ && isFinished_ && isGood() && state_ && state_->namesFields) {
        classes.push_back({"", state_->version, state_->fields[0]});
        for (std::size_t i = 0; i < state_->classes.size(); ++i) {
            const State::Class& one = state_->classes[i];
            classes.push_back({one.name.getClassName(), one.version, state_->fields[i + 1]});
        }
    }
    return classes;
}

} // namespace Common
