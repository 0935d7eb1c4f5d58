#include "Serial/CommonSerializer.h"

#include "serial/serializer_state.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

namespace Common {

namespace {

void append(serial::Bytes& bytes, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
        bytes.push_back(static_cast<unsigned char>(value | 0x80));
    }
    bytes.push_back(static_cast<unsigned char>(value));
}

void append(serial::Bytes& bytes, const unsigned char* data, std::size_t size) {
    bytes.insert(bytes.end(), data, data + size);
}

} // namespace

// Values are written to `payload` and references to `mentions`; endRecord puts them together.
void CommonSerializer::beginRecord(std::uint32_t version, std::size_t classNumber) {
    version_ = version;
    state_->mentions.clear();
    state_->mentionCount = 0;
    cursor_ = state_->payload.data();
    end_ = cursor_ + state_->payload.size();
    if (isNaming()) {
        end_ = cursor_;
        state_->naming->beginRecord(classNumber);
    }
}

void CommonSerializer::endRecord() {
    serial::Bytes& body = state_->body;
    const std::size_t size = usedBytes();
    makeRoom(2 * kMostCompact + state_->mentions.size() + size + serial::kSumSize);
    append(body, size);
    append(body, state_->mentionCount);
    append(body, state_->mentions.data(), state_->mentions.size());
    append(body, state_->payload.data(), size);
    if (isNaming()) {
        state_->naming->endRecord();
    }
}

// Makes room for a record and, by the size of the records so far, for those to come. A body that
// only doubled its room would be copied more often, and take up to twice the memory.
void CommonSerializer::makeRoom(std::size_t size) {
    serial::Bytes& body = state_->body;
    if (body.capacity() - body.size() >= size) {
        return;
    }
    const std::size_t there = body.size() + size;
    const std::size_t each = there / (state_->next + 1);
    const std::size_t toCome = each * (state_->objects.size() - state_->next);
    body.reserve(there + std::clamp(toCome + toCome / 8, there / 2, 3 * there));
}

bool CommonSerializer::writeReference(const Identifiable* object) {
    if (hasFailed_) {
        return false;
    }
    if (isFinished_) {
        fail("the serializer has finished");
        return false;
    }
    if (isPacked_) {
        packReference(object);
        return false;
    }
    if (isNaming()) {
        state_->naming->value(name_, FieldKind::kReference);
    }
    State& state = *state_;
    const auto next = static_cast<std::uint32_t>(state.objects.size() + 1);
    const std::uint32_t number = object == nullptr ? 0 : state.numbers.findOrAdd(object, next);
    append(state.mentions, number);
    ++state.mentionCount;
    return number == next;
}

// Writes what follows the first reference to an object.
void CommonSerializer::introduce(const Identifiable& object, SerializableObject* serializable) {
    if (serializable == nullptr) {
        fail("an object of class \"" + object.getClassIdentifier().getClassName() +
             "\", which cannot be saved");
        return;
    }
    const std::uint32_t classIndex = writeClass(*serializable);
    state_->objects.push_back({Ref<SerializableObject>(serializable), classIndex, nodeOf(scope_)});
}

// Writes the number of a class, and its name and version with the first object of the class.
std::uint32_t CommonSerializer::writeClass(const SerializableObject& object) {
    State& state = *state_;
    const Identifier& name = object.getClassIdentifier();
    const std::uint32_t version = object.getVersion();
    if (!state.objects.empty()) {
        // Mostly it is the class of the object before.
        const std::uint32_t last = state.objects.back().classIndex;
        if (state.classes[last].version == version && state.classes[last].name == name) {
            append(state.mentions, last);
            return last;
        }
    }
    const auto next = static_cast<std::uint32_t>(state.classes.size());
    const auto [found, isNew] =
        state.classNumbers.try_emplace({name.getClassName(), version}, next);
    append(state.mentions, found->second);
    if (isNew) {
        const std::string& text = name.getClassName();
        if (text.size() > serial::kMostNameBytes) {
            fail("a class whose name is too long");
        }
        append(state.mentions, text.size());
        append(state.mentions, reinterpret_cast<const unsigned char*>(text.data()), text.size());
        append(state.mentions, version);
        state.classes.push_back({name, version});
    }
    return found->second;
}

// `objects` is a work list: serializing an object may append others to it.
void CommonSerializer::saveObjects() {
    State& state = *state_;
    state.body.resize(serial::kHeaderSize); // filled in by handOver
    append(state.body, state.version);
    endRecord();
    for (; state.next < state.objects.size() && isGood(); ++state.next) {
        const State::Object& object = state.objects[state.next];
        SerializableObject& serializable = *object.object;
        state.objectNode = object.node;
        beginRecord(state.classes[object.classIndex].version, object.classIndex + 1);
        serializable.serialize(*this);
        endRecord();
    }
    if (isGood() && isNaming()) {
        saveFields();
    }
    if (isGood()) {
        handOver();
    }
}

void CommonSerializer::handOver() {
    State& state = *state_;
    serial::Bytes& file = state.body;
    const std::size_t end = file.size();
    const std::size_t size = end - serial::kHeaderSize;
    file.resize(end + serial::kSumSize);
    unsigned char* const header = file.data();
    std::copy(std::begin(serial::kMark), std::end(serial::kMark), header);
    header[sizeof serial::kMark] = state.namesFields ? serial::kNamedFormat : serial::kPlainFormat;
    serial::putFixed<std::uint64_t>(header + serial::kSizeAt, size);
    serial::putFixed(header + end, serial::sumOf(header, header + serial::kHeaderSize, size));
    state.objectNode = 0;
    if (state.out->write(file.data(), file.size()) != file.size()) {
        fail(state.out->getError());
    }
}

} // namespace Common
