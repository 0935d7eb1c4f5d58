#include "Serial/CommonSerializer.h"

#include "Serial/Record.h"
#include "platform/compiler.h"
#include "serial/serializer_state.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace Common {

namespace {

// Reads `size` bytes. A file may state a false size, so this takes little more memory than there
// are bytes. Reserves room for all of them only if the stream knows its size.
bool readBytes(io::Stream& in, serial::Bytes& bytes, std::uint64_t size) {
    if (const std::uint64_t there = in.size(); there > in.tell()) {
        bytes.reserve(static_cast<std::size_t>(std::min(size, there - in.tell())));
    }
    constexpr std::uint64_t kPiece = 1 << 20;
    while (bytes.size() < size) {
        const std::size_t done = bytes.size();
        const std::uint64_t wanted = std::min(size - done, std::max<std::uint64_t>(kPiece, done));
        bytes.resize(done + static_cast<std::size_t>(wanted));
        if (in.read(bytes.data() + done, static_cast<std::size_t>(wanted)) != wanted) {
            return false;
        }
    }
    return true;
}

} // namespace

void CommonSerializer::load(io::Stream& in) {
    State& state = *state_;
    unsigned char header[serial::kHeaderSize];
    unsigned char sum[serial::kSumSize];
    const auto failToRead = [&] { fail(in.isGood() ? "the file ends too early" : in.getError()); };
    if (in.read(header, sizeof header) != sizeof header) {
        failToRead();
        return;
    }
    if (std::memcmp(header, serial::kMark, sizeof serial::kMark) != 0) {
        fail("no file of saved objects");
        return;
    }
    const unsigned char version = header[sizeof serial::kMark];
    if (version != serial::kPlainFormat && version != serial::kNamedFormat) {
        fail("a file in a format of another version");
        return;
    }
    state.namesFields = version == serial::kNamedFormat;
    const auto size = serial::getFixed<std::uint64_t>(header + serial::kSizeAt);
    if (size > state.limits.bytes) {
        fail("a file that is longer than allowed");
        return;
    }
    if (!readBytes(in, state.body, size) || in.read(sum, sizeof sum) != sizeof sum) {
        failToRead();
        return;
    }
    if (serial::getFixed<std::uint32_t>(sum) !=
        serial::sumOf(header, state.body.data(), state.body.size())) {
        fail("a damaged file: its sum is wrong");
        return;
    }
    cursor_ = state.body.data();
    end_ = cursor_ + state.body.size();
    transferInteger(state.version);
    state.next = isGood() ? static_cast<std::size_t>(cursor_ - state.body.data()) : 0;
    version_ = state.version;
    state.nodes.push_back({0, 0, nullptr}); // so that each path has a node, even an empty one
    state.objectNode = 1;
    openRecord();
}

// Makes room for so many references at once. Half of the time of loading a large list of new
// objects would else go into moving tables that outgrow their memory.
void CommonSerializer::State::expect(std::size_t references) {
    const auto makeRoom = [references](auto& table) {
        if (table.capacity() - table.size() < references) {
            table.reserve(std::max(table.size() + references, 2 * table.capacity()));
        }
    };
    makeRoom(mentioned);
    makeRoom(objects);
    makeRoom(nodes);
}

void CommonSerializer::openRecord() {
    State& state = *state_;
    if (!isGood()) {
        return;
    }
    cursor_ = state.body.data() + state.next;
    end_ = state.body.data() + state.body.size();
    const std::uint64_t size = readCompact();
    const std::uint64_t count = readCompact();
    state.mentioned.clear();
    state.nextMention = 0;
    if (count > static_cast<std::size_t>(end_ - cursor_)) {
        fail("more references than there can be");
    }
    if (isGood()) {
        state.expect(
            static_cast<std::size_t>(std::min<std::uint64_t>(count, state.limits.objects)));
    }
    for (std::uint64_t i = 0; i < count && isGood(); ++i) {
        readMention();
    }
    if (isGood() && size > static_cast<std::size_t>(end_ - cursor_)) {
        fail("a record that is longer than the file");
    }
    if (isGood()) {
        end_ = cursor_ + size;
        state.next = static_cast<std::size_t>(end_ - state.body.data());
    }
}

// Reads the number of an object. The first reference to an object is followed by its class.
void CommonSerializer::readMention() {
    State& state = *state_;
    const std::uint64_t number = readCompact();
    if (number > state.objects.size() + 1) {
        fail("a reference to an object that does not exist");
    } else if (number > state.limits.objects) {
        fail("more objects than allowed");
    }
    if (!isGood()) {
        return;
    }
    if (number == state.objects.size() + 1) {
        makeObject(readClass());
    } else if (number != 0) { // the object's count is raised soon, and may be anywhere in memory
        platform::prefetchForWriting(state.objects[number - 1].object.get());
    }
    if (isGood()) {
        state.mentioned.push_back(static_cast<std::uint32_t>(number));
    }
}

std::uint32_t CommonSerializer::readClass() {
    State& state = *state_;
    const std::uint64_t index = readCompact();
    if (index > state.classes.size()) {
        fail("a class that does not exist");
    }
    if (isGood() && index == state.classes.size()) {
        std::string name(transferLength(0, 1), 0);
        if (name.size() > serial::kMostNameBytes) {
            fail("a class whose name is too long");
        }
        transferRow(name.data(), name.size());
        std::uint32_t version = 0;
        transferInteger(version);
        if (isGood()) {
            state.classes.push_back({Identifier(std::move(name)), version});
        }
    }
    return static_cast<std::uint32_t>(index);
}

void CommonSerializer::makeObject(std::uint32_t classIndex) {
    if (!isGood()) {
        return;
    }
    State& state = *state_;
    const State::Class& itsClass = state.classes[classIndex];
    const Ref<Identifiable> made(state.factories->createInstance(itsClass.name));
    Ref<SerializableObject> object(dynamic_cast<SerializableObject*>(made.get()));
    if (!object && state.limits.keepsUnknown) {
        object = Ref<SerializableObject>(new Record(
            itsClass.name, itsClass.version, static_cast<std::uint32_t>(state.objects.size() + 1)));
    }
    if (object && object->getRefCount() > 2 && hasNumber(*object)) { // two references are held here
        object = {};
        if (state.givenTwice == 0) {
            state.givenTwice = static_cast<std::uint32_t>(state.objects.size() + 1);
        }
    }
    state.objects.push_back({std::move(object), classIndex, 0});
}

// Called only for objects that somebody else holds, too, which is rare.
bool CommonSerializer::hasNumber(const Identifiable& object) {
    State& state = *state_;
    for (; state.known < state.objects.size(); ++state.known) {
        if (const Identifiable* const one = state.objects[state.known].object.get()) {
            state.numbers.findOrAdd(one, static_cast<std::uint32_t>(state.known + 1));
        }
    }
    const auto next = static_cast<std::uint32_t>(state.objects.size() + 1);
    return state.numbers.findOrAdd(&object, next) != next;
}

Identifiable* CommonSerializer::readReference() {
    State& state = *state_;
    if (hasFailed_) {
        return nullptr;
    }
    if (isPacked_) {
        return unpackReference();
    }
    if (isFinished_ || state.nextMention == state.mentioned.size()) {
        fail("the record has no more references");
        return nullptr;
    }
    const std::uint32_t number = state.mentioned[state.nextMention++];
    if (number == 0) {
        return nullptr;
    }
    State::Object& object = state.objects[number - 1];
    if (object.node == 0) {
        object.node = nodeOf(scope_);
        if (number <= state.passed) {
            state.late.push_back(number - 1);
        }
    }
    if (!object.object) {
        fail("an object of class \"" + state.classes[object.classIndex].name.getClassName() +
             (number == state.givenTwice ? "\", which its factory has given out before"
                                         : "\", which no factory makes"));
    }
    return object.object.get();
}

// `objects` is a work list: opening a record may append others to it. An object is read only once
// somebody has taken a reference to it. Objects that nobody can reach thus stay empty, and cannot
// keep each other alive in a cycle.
void CommonSerializer::loadObjects() {
    State& state = *state_;
    for (; state.passed < state.objects.size() && isGood(); ++state.passed) {
        const auto index = static_cast<std::uint32_t>(state.passed);
        state.objectNode = state.objects[index].node;
        openRecord();
        if (state.objectNode != 0) {
            loadObject(index);
        } else if (isGood()) {
            state.waiting.push_back({index, cursor_, end_, state.mentioned});
        }
    }
    for (std::size_t i = 0; i < state.late.size() && isGood(); ++i) {
        State::Waiting& record =
            *std::ranges::lower_bound(state.waiting, state.late[i], {}, &State::Waiting::index);
        state.mentioned = std::move(record.mentioned);
        state.nextMention = 0;
        cursor_ = record.begin;
        end_ = record.end;
        state.objectNode = state.objects[record.index].node;
        loadObject(record.index);
    }
    state.objectNode = 0;
    version_ = state.version;
    if (state.namesFields) {
        loadFields();
    }
    if (isGood() && state.next != state.body.size()) {
        fail("something behind the last object");
    }
}

// Reads an object from the open record.
void CommonSerializer::loadObject(std::uint32_t index) {
    const State::Object& object = state_->objects[index];
    if (object.object && isGood()) {
        version_ = state_->classes[object.classIndex].version;
        object.object->serialize(*this);
    }
}

Record* Record::lastHeldHereAlone() const {
    auto* const record = dynamic_cast<Record*>(references_.back().get());
    const bool goes = record != nullptr && record->getRefCount() == 1;
    return goes && !record->references_.empty() ? record : nullptr;
}

// A chain may have millions of records, so it is taken apart in a loop. `above_` links the records
// on the way, because there may be no memory for a list of them.
Record::~Record() {
    Record* record = this;
    above_ = nullptr;
    while (record != nullptr) {
        if (record->references_.empty()) {
            record = record->above_;
            if (record != nullptr) {
                record->references_.pop_back();
            }
        } else if (Record* const next = record->lastHeldHereAlone()) {
            next->above_ = record;
            record = next;
        } else {
            record->references_.pop_back();
        }
    }
}

void Record::serialize(CommonSerializer& serializer) {
    serializer.transferRest(bytes_, references_);
}

// Transfers all bytes and all references of a record. The references get path steps, by which
// errors in the objects that they lead to are named.
void CommonSerializer::transferRest(qz::vector<unsigned char>& bytes,
                                    qz::vector<Ref<Identifiable>>& references) {
    if (isPacked_) {
        fail("an object of a class that is not known, which only a file keeps");
        return;
    }
    if (isLoading_) {
        bytes.assign(cursor_, end_);
        references.resize(state_->mentioned.size() - state_->nextMention);
    }
    if (isNaming()) {
        state_->naming->lose();
    }
    transferRow(bytes.data(), bytes.size());
    name_ = "references";
    {
        const Level level(*this);
        for (Ref<Identifiable>& reference : references) {
            ++scope_->index;
            scope_->node = 0;
            transferReference(reference);
        }
    }
    name_ = nullptr;
}

} // namespace Common
