/* What ferries and harbours write to each other, as messages of the library's mail server. */
#ifndef QZ_HOST_LETTERS_H
#define QZ_HOST_LETTERS_H

#include "Mail/Message.h"

#include <cstdint>

/* Addresses: the server finds those below 256 fastest. */
enum : std::uint32_t {
    kFirstHarbour = 1,
    kFirstFerry = 128,
    kMostHarbours = 100,
    kMostFerries = 100
};

struct Letter {
    enum class Kind : std::uint32_t { askBerth, berthGranted, berthRefused, berthLeft };

    Kind kind;
    std::uint32_t sender; // its address
};

/* Delivers a letter before it returns; false if nobody has that address. */
bool post(std::uint32_t address, const Letter& letter);

Letter readLetter(const Mail::Message& message);

#endif
