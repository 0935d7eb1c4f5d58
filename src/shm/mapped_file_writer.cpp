#include "Shm/MappedFile.h"

#include "platform/mapped_file.h"
#include "platform/whole_file.h"
#include "shm/error_text.h"

#include <bit>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace misc {

namespace {

constexpr uint64_t kMostReserved = 0x40000000;
constexpr uint64_t kTooLittle = 0x1000001;

uint64_t roundUp(uint64_t size, uint64_t unit) {
    return (size + unit - 1) / unit * unit;
}

char* reserve(int bytes) {
    void* const block = bytes < 0 ? nullptr : std::calloc(1, static_cast<size_t>(bytes));
    if (block == nullptr) {
        throw error(shm::format("Reserve %d failed: insufficient address space", bytes));
    }
    return static_cast<char*>(block);
}

} // namespace

mmf_write::mmf_write(int alignmentOfSizes)
    : pageSize(platform::pageSize()), alignment(static_cast<uint32_t>(alignmentOfSizes)) {}

mmf_write::~mmf_write() {
    Reset();
}

bool mmf_write::Create(const char* name, int reserveBytes) {
    const std::string kept = name == nullptr ? "" : name; // it may be a part of the object
    Reset();
    if (kept.size() >= sizeof fileName) {
        throw error(
            shm::format("CreateFile(\"%s\", write) %s", kept.c_str(), "File name too long"));
    }
    if (reserveBytes != 0) {
        memory = reserve(reserveBytes);
        reserved = static_cast<uint64_t>(reserveBytes);
    } else {
        memory = static_cast<char*>(reserveMax(reserved));
    }
    std::memcpy(fileName, kept.c_str(), kept.size() + 1);
    return true;
}

void* mmf_write::reserveMax(uint64_t& size) {
    for (size = kMostReserved; size >= kTooLittle; size /= 2) {
        void* const block = std::calloc(1, size);
        if (block != nullptr) {
            return block;
        }
    }
    const auto tried = static_cast<int>(size);
    size = 0;
    throw error(shm::format("ReserveMax failed: insufficient address space even for %d", tried));
}

void mmf_write::freeReserved(void* block) {
    std::free(block);
}

bool mmf_write::alloc(int size, int* offset) {
    if (size < 0 || offset == nullptr || alignment > INT_MAX || !std::has_single_bit(alignment)) {
        return false;
    }
    const uint64_t wanted = roundUp(static_cast<uint64_t>(size), alignment);
    if (takeAside(wanted, offset)) {
        return true;
    }
    const uint64_t end = used + wanted;
    if (end > reserved || end + baseOffset > INT_MAX) {
        throw error(shm::format("Memory overflow %d", static_cast<int>(reserved)));
    }
    *offset = static_cast<int>(used + baseOffset);
    if (end > committed) {
        committed = static_cast<uint32_t>(roundUp(end, pageSize));
    }
    allocated[0] += static_cast<uint32_t>(wanted);
    used = static_cast<uint32_t>(end);
    return true;
}

bool mmf_write::takeAside(uint64_t size, int* offset) {
    if (size > sideRemaining || sideRemaining == 0) {
        return false;
    }
    if (sideCursor > INT_MAX) {
        throw error(shm::format("Memory overflow %d", static_cast<int>(reserved)));
    }
    *offset = static_cast<int>(sideCursor);
    sideCursor += static_cast<uint32_t>(size);
    sideRemaining -= static_cast<uint32_t>(size);
    return true;
}

void mmf_write::Reset() {
    freeReserved(memory);
    memory = nullptr;
    fileName[0] = 0;
    baseOffset = allocated[0] = allocated[1] = committed = used = 0;
    sideCursor = sideRemaining = 0;
    reserved = 0;
}

void mmf_write::Close() {
    try {
        if (fileName[0] != 0 && memory != nullptr) {
            write();
        }
    } catch (...) {
        Reset();
        throw;
    }
    Reset();
}

void mmf_write::write() {
    const platform::Replacement result =
        platform::replaceContents(fileName, {memory, used}, platform::WriteProtected::refuse);
    if (result) {
        return;
    }
    const std::string reason = shm::textOf(result.error);
    throw error(result.isWriting
                    ? shm::format("WriteFile(MEM_RESERVE, %u) %s", used, reason.c_str())
                    : shm::format("CreateFile(\"%s\", write) %s", fileName, reason.c_str()));
}

} // namespace misc
