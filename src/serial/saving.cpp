#include "Serial/CommonSerializer.h"

#include "serial/state.h"

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
void CommonSerializer::beginRecord(std::uint32_t version) {
    version_ = version;
    state_->mentions.clear();
    state_->mentionCount = 0;
    cursor_ = state_->payload.data();
    end_ = cursor_ + state_->payload.size();
}

void CommonSerializer::endRecord() {
    serial::Bytes& body = state_->body;
    const std::size_t size = usedBytes();
    append(body, size);
    append(body, state_->mentionCount);
    append(body, state_->mentions.data(), state_->mentions.size());
    append(body, state_->payload.data(), size);
}

void CommonSerializer::writeReference(Identifiable* object) {
    if (hasFailed_) {
        return;
    }
    if (isFinished_) {
        fail("the serializer has finished");
        return;
    }
    if (isPacked_) {
        packReference(object);
        return;
    }
    State& state = *state_;
    if (object == nullptr) {
        append(state.mentions, 0);
        ++state.mentionCount;
        return;
    }
    const auto next = static_cast<std::uint32_t>(state.objects.size() + 1);
    const std::uint32_t number = state.numbers.findOrAdd(object, next);
    append(state.mentions, number);
    ++state.mentionCount;
    if (number == next) {
        auto* const serializable = dynamic_cast<SerializableObject*>(object);
        if (serializable == nullptr) {
            fail("an object of class \"" + object->getClassIdentifier().getClassName() +
                 "\", which cannot be saved");
            return;
        }
        const std::uint32_t classIndex = writeClass(*serializable);
        state.objects.push_back(
            {Ref<Identifiable>(object), serializable, classIndex, nodeOf(scope_)});
    }
}

// With the first object of a class its name and version.
std::uint32_t CommonSerializer::writeClass(const SerializableObject& object) {
    State& state = *state_;
    const Identifier& name = object.getClassIdentifier();
    const std::uint32_t version = object.getVersion();
    if (!state.objects.empty()) {
        // Most often it is that of the object before.
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

// A work list: serializing an object may append others to it.
void CommonSerializer::saveObjects() {
    State& state = *state_;
    append(state.body, state.version);
    endRecord();
    for (std::size_t i = 0; i < state.objects.size() && isGood(); ++i) {
        const State::Object& object = state.objects[i];
        SerializableObject& serializable = *object.serializable;
        state.objectNode = object.node;
        beginRecord(state.classes[object.classIndex].version);
        serializable.serialize(*this);
        endRecord();
    }
    if (isGood()) {
        handOver();
    }
}

void CommonSerializer::handOver() {
    State& state = *state_;
    unsigned char header[serial::kHeaderSize];
    std::copy(std::begin(serial::kMark), std::end(serial::kMark), header);
    serial::putFixed<std::uint64_t>(header + sizeof serial::kMark, state.body.size());
    unsigned char sum[serial::kSumSize];
    serial::putFixed(sum, serial::sumOf(header, state.body));
    state.objectNode = 0;
    const bool isWritten =
        state.out->write(header, sizeof header) == sizeof header &&
        state.out->write(state.body.data(), state.body.size()) == state.body.size() &&
        state.out->write(sum, sizeof sum) == sizeof sum;
    if (!isWritten) {
        fail(state.out->getError());
    }
}

} // namespace Common
