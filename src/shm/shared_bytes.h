// Copies bytes that another thread or process may write or read at the same time.
//
// Each piece is an atomic store with release order or an atomic load with acquire order: a reader
// that has loaded a piece also sees what was stored before it.
#pragma once

#include "platform/compiler.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace shm {

template<std::size_t Unit>
bool isAlignedTo(const char* place) {
    return reinterpret_cast<std::uintptr_t>(place) % Unit == 0;
}

template<class Word>
void storeWord(char* to, const char* from) {
    Word word = 0;
    std::memcpy(&word, from, sizeof word);
    std::atomic_ref(*reinterpret_cast<Word*>(to)).store(word, std::memory_order_release);
}

template<class Word>
void loadWord(char* to, char* from) {
    const Word word =
        std::atomic_ref(*reinterpret_cast<Word*>(from)).load(std::memory_order_acquire);
    std::memcpy(to, &word, sizeof word);
}

// Cuts `count` bytes at `block` into aligned words: of 1 and 4 bytes up to the first place that is
// aligned to 8, then of 8 bytes, then the rest. Calls `copy` with each word's offset and a zero of
// the word's type.
template<class Copy>
void forEachWord(const char* block, std::size_t count, Copy copy) {
    std::size_t done = 0;
    const auto cut = [&](auto word) {
        copy(done, word);
        return sizeof word;
    };
    while (done < count && !isAlignedTo<8>(block + done)) {
        if (isAlignedTo<4>(block + done) && count - done >= 4) {
            done += cut(std::uint32_t{});
        } else {
            done += cut(std::uint8_t{});
        }
    }
    while (count - done >= 8) {
        done += cut(std::uint64_t{});
    }
    if (count - done >= 4) {
        done += cut(std::uint32_t{});
    }
    while (done < count) {
        done += cut(std::uint8_t{});
    }
}

// An x64 processor keeps loads in order, and stores, so one instruction copies a long run. Starting
// that instruction takes longer than copying a few dozen words.
#if defined(QZ_X64) && !defined(QZ_COPY_BY_WORDS)
constexpr std::size_t kLongRun = 256;

inline void copyLongRun(char* to, const char* from, std::size_t count) {
    platform::moveBytes(to, from, count);
}
#else
constexpr std::size_t kLongRun = SIZE_MAX;

inline void copyLongRun(char*, const char*, std::size_t) {}
#endif

inline void storeShared(char* to, const char* from, std::size_t count) {
    if (count >= kLongRun) {
        copyLongRun(to, from, count);
        return;
    }
    forEachWord(to, count, [=](std::size_t offset, auto word) {
        storeWord<decltype(word)>(to + offset, from + offset);
    });
}

inline void loadShared(char* to, char* from, std::size_t count) {
    if (count >= kLongRun) {
        copyLongRun(to, from, count);
        return;
    }
    forEachWord(from, count, [=](std::size_t offset, auto word) {
        loadWord<decltype(word)>(to + offset, from + offset);
    });
}

} // namespace shm
