#include "Serial/CommonSerializer.h"

#include "Core/Hash.h"
#include "Serial/Record.h"
#include "serial/serializer_state.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

namespace serial {

std::uint32_t sumOf(const unsigned char* header, const unsigned char* body, std::size_t size) {
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(header, kHeaderSize, 0));
    return static_cast<std::uint32_t>(QZ_hash_data(body, size, seed));
}

} // namespace serial

namespace Common {

namespace {

// Messages distinguish signed integers from others.
std::uint64_t meaningOf(FieldKind kind) {
    return kind == FieldKind::kSigned ? serial::kSigned : serial::kPlain;
}

} // namespace

// Releases the objects so that usual chains are not destroyed recursively: the first loop goes
// backwards, for objects that hold earlier ones; the second forwards, because most objects are held
// by earlier ones.
CommonSerializer::State::~State() {
    for (std::size_t i = objects.size(); i > 0; --i) {
        Ref<SerializableObject>& object = objects[i - 1].object;
        if (object && object->getRefCount() == 1) {
            object = {};
        }
    }
    for (Object& object : objects) {
        object.object = {};
    }
}

CommonSerializer::CommonSerializer(io::Stream& out, std::uint32_t version)
    : CommonSerializer(out, version, Options()) {}

CommonSerializer::CommonSerializer(io::Stream& out, std::uint32_t version, const Options& options)
    : ValueSerializer(false, false), depthLimit_(options.depth), state_(new State) {
    state_->out = &out;
    state_->version = version;
    state_->namesFields = tellsLevels_ = options.namesFields;
    if (options.namesFields) {
        state_->naming = std::make_unique<serial::Naming>();
    }
    beginRecord(version, 0);
}

CommonSerializer::CommonSerializer(io::Stream& in, FactoryManager& factories)
    : CommonSerializer(in, factories, Limits()) {}

CommonSerializer::CommonSerializer(io::Stream& in, FactoryManager& factories, const Limits& limits)
    : ValueSerializer(true, false), depthLimit_(limits.depth), state_(new State) {
    state_->limits = limits;
    state_->factories = &factories;
    load(in);
}

// Records that were kept of a faulty file may form a cycle, which nobody else could take apart.
CommonSerializer::~CommonSerializer() {
    if (isLoading_ && hasFailed_) {
        for (const State::Object& object : state_->objects) {
            if (auto* const record = dynamic_cast<Record*>(object.object.get())) {
                record->letGo();
            }
        }
    }
}

bool CommonSerializer::finish() {
    if (scope_ != nullptr || state_->isInObjects) {
        fail("a class has called finish, or has thrown an exception");
    }
    if (!isFinished_ && isGood()) {
        if (isPacked_) {
            accept(form().finish());
        } else {
            state_->isInObjects = true;
            isLoading_ ? loadObjects() : saveObjects();
            state_->isInObjects = false;
        }
    }
    isFinished_ = true;
    cursor_ = end_ = nullptr;
    return isGood();
}

const std::string& CommonSerializer::getError() const {
    return state_->error;
}

void CommonSerializer::fail(const std::string& what) {
    if (hasFailed_ || (isPacked_ && form().ignoresErrors)) {
        return;
    }
    hasFailed_ = true;
    cursor_ = end_ = nullptr;
    try {
        const std::string where = path();
        state_->error = where.empty() ? what : where + ": " + what;
    } catch (const std::exception&) {
        state_->error = "out of memory"; // short enough to need no memory
    }
}

void CommonSerializer::failAsMisfit(const Identifiable& object) {
    const bool isRecord = dynamic_cast<const Record*>(&object) != nullptr;
    fail("an object of class \"" + object.getClassIdentifier().getClassName() +
         (isRecord ? "\", which no factory makes" : "\", which does not fit"));
}

void CommonSerializer::failAsRange() {
    fail("a value that its type does not have");
}

void CommonSerializer::failAsTooDeep() {
    fail("values too deep within each other");
}

bool CommonSerializer::prepareMore(std::size_t size) {
    if (hasFailed_) {
        return false;
    }
    if (isLoading_ || isFinished_) {
        fail(isFinished_ ? "the serializer has finished" : "the record ends before the value");
        return false;
    }
    serial::Bytes& payload = state_->payload;
    const std::size_t done = usedBytes();
    constexpr std::size_t kLeast = 4096;
    if (payload.size() - done < size) {
        payload.resize(std::max({done + size, 2 * payload.size(), kLeast}));
    }
    cursor_ = payload.data() + done;
    end_ = payload.data() + payload.size();
    return true;
}

// Called if there is no room at the cursor: makes room, or passes the bytes to a form for messages
// or to a file that names its fields.
void CommonSerializer::transferMore(void* bytes, std::size_t size, FieldKind kind) {
    if (isPacked_) {
        packBytes(static_cast<unsigned char*>(bytes), size,
                  kind == FieldKind::kSignedByte ? serial::kSignedByte : serial::kBytes);
    } else if (isNaming()) {
        kind == FieldKind::kOptional
            ? state_->naming->optional(name_, *static_cast<unsigned char*>(bytes) != 0)
            : state_->naming->value(name_, kind);
        putNamed(bytes, size);
    } else if (prepareMore(size)) {
        isLoading_ ? std::memcpy(bytes, cursor_, size) : std::memcpy(cursor_, bytes, size);
        cursor_ += size;
    }
}

void CommonSerializer::transferMoreOfRow(void* bytes, std::size_t size, FieldKind element) {
    if (isPacked_) {
        packBytes(static_cast<unsigned char*>(bytes), size, serial::kBytes);
    } else if (isNaming()) {
        const std::size_t each = element == FieldKind::kDouble  ? sizeof(double)
                                 : element == FieldKind::kFloat ? sizeof(float)
                                                                : 1;
        state_->naming->row(name_, element, size / each);
        putNamed(bytes, size);
    } else if (prepareMore(size)) {
        transferBytes(bytes, size, element);
    }
}

void CommonSerializer::openLevel() {
    if (isPacked_ && isGood()) {
        accept(form().open(serial::kLevel | form().describe(scope_->name, serial::kPlain)));
    } else if (isNaming()) {
        state_->naming->open(scope_->name, FieldKind::kGroup);
    }
}

void CommonSerializer::closeLevel() {
    if (isPacked_ && isGood()) {
        accept(form().close());
    } else if (isNaming()) {
        state_->naming->close();
    }
}

bool CommonSerializer::prepareCompact(std::uint64_t value, FieldKind kind) {
    if (isPacked_) {
        packNumber(value, serial::kCompact, meaningOf(kind));
        return false;
    }
    if (isNaming()) {
        putNamedCompact(value, kind);
        return false;
    }
    return prepareMore(kMostCompact);
}

std::uint64_t CommonSerializer::readLongCompact(FieldKind kind) {
    std::uint64_t value = 0;
    if (isPacked_) {
        packNumber(value, serial::kCompact, meaningOf(kind));
        return value;
    }
    for (unsigned shift = 0; shift < 64; shift += 7) {
        if (!prepare(1)) {
            return 0;
        }
        const std::uint64_t byte = *cursor_++;
        value |= (byte & 0x7F) << shift;
        if (byte < 0x80) {
            if (shift == 63 && byte > 1) {
                break;
            }
            return value;
        }
    }
    failAsRange();
    return 0;
}

std::size_t CommonSerializer::transferLength(std::size_t length, std::size_t size) {
    if (!isLoading_) {
        writeCompact<FieldKind::kRow>(length);
        return isGood() ? length : 0;
    }
    const std::uint64_t read = readCompact();
    const std::size_t most =
        isPacked_ ? form().bytesAhead() : static_cast<std::size_t>(end_ - cursor_);
    if (read > most / size) {
        fail("a length beyond the end of the record");
    }
    return isGood() ? static_cast<std::size_t>(read) : 0;
}

CommonSerializer::Items::Items(CommonSerializer& serializer, std::size_t count)
    : serializer_(serializer), count_(count) {
    if (!serializer.isLoading_) {
        serializer.writeCompact<FieldKind::kList>(count);
        usedBefore_ = serializer.used();
        return;
    }
    const std::uint64_t read = serializer.readCompact();
    if (read > serializer.left()) {
        serializer.fail("a number of items beyond the end of the record");
    }
    count_ = serializer.isGood() ? static_cast<std::size_t>(read) : 0;
}

// Refuses items that could not be read back: a reader limits their number by the bytes left.
CommonSerializer::Items::~Items() {
    serializer_.scope_->index = 0;
    if (serializer_.isNaming()) {
        serializer_.state_->naming->close();
    }
    if (!serializer_.isLoading_ && serializer_.isGood() &&
        serializer_.used() - usedBefore_ < count_) {
        serializer_.accept("items without contents");
    }
}

std::size_t CommonSerializer::usedBytes() const {
    return cursor_ == nullptr ? 0 : static_cast<std::size_t>(cursor_ - state_->payload.data());
}

std::size_t CommonSerializer::used() const {
    return isPacked_ ? form().count() : usedBytes() + state_->mentionCount;
}

std::size_t CommonSerializer::left() const {
    if (isPacked_) {
        return form().count();
    }
    return static_cast<std::size_t>(end_ - cursor_) + state_->mentioned.size() -
           state_->nextMention;
}

// The node of a scope's path, which is made at the first call for the scope.
std::uint32_t CommonSerializer::nodeOf(Scope* scope) {
    if (scope == nullptr) {
        return state_->objectNode;
    }
    if (scope->node == 0) {
        const std::uint32_t parent = nodeOf(scope->outer);
        state_->nodes.push_back({parent, static_cast<std::uint32_t>(scope->index), scope->name});
        scope->node = static_cast<std::uint32_t>(state_->nodes.size());
    }
    return scope->node;
}

namespace {

// Puts a step in front, because a path is built from its end.
void addStep(std::string& path, const char* name, std::size_t index) {
    std::string step = name == nullptr ? "" : std::string(".") + name;
    if (index != 0) {
        step += '[' + std::to_string(index - 1) + ']';
    }
    path.insert(0, step);
}

} // namespace

std::string CommonSerializer::path() const {
    constexpr std::size_t kLongest = 200;
    std::string text;
    addStep(text, name_, 0);
    for (const Scope* scope = scope_; scope != nullptr && text.size() < kLongest;
         scope = scope->outer) {
        addStep(text, scope->name, scope->index);
    }
    std::uint32_t number = state_->objectNode;
    while (number != 0 && text.size() < kLongest) {
        const State::Node& node = state_->nodes[number - 1];
        addStep(text, node.name, node.index);
        number = node.parent;
    }
    if (text.size() >= kLongest) {
        return "..." + text;
    }
    return text.starts_with('.') ? text.substr(1) : text;
}

ValueSerializer::~ValueSerializer() = default;
SerializableObject::~SerializableObject() = default;

} // namespace Common
