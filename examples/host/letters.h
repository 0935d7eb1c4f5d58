/* The letters between ferries and harbours, as messages of the library's mail server. */
#ifndef QZ_HOST_LETTERS_H
#define QZ_HOST_LETTERS_H

#include "geometry.h"

#include "Mail/Message.h"

#include <cstdint>

/* Addresses: the server finds those below 256 fastest. */
enum : std::uint32_t {
    kFirstHarbour = 1,
    kMostHarbours = 100,
    kFirstFerry = 128,
    kMostFerries = 100,
    kLookout = 255,
};

struct Letter {
    enum class Kind : std::uint32_t { askBerth, berthGranted, berthRefused, berthLeft, position };

    Kind kind;
    std::uint32_t sender; // its address
    Motion motion{};      // of a ferry that tells its position
};

/* Delivers a letter before it returns. */
void post(std::uint32_t address, const Letter& letter);

/* How many letters were posted so far, and how many of them had no receiver. */
struct Postage {
    std::uint64_t letters;
    std::uint64_t lost;
};

Postage postage();

Letter readLetter(const Mail::Message& message);

#endif
