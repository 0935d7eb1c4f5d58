/* The number and size of states, counted by both sides. */
#ifndef QZ_HOST_TRAFFIC_H
#define QZ_HOST_TRAFFIC_H

#include "Mail/Message.h"

#include <cstdint>
#include <string>
#include <vector>

class Traffic {
public:
    /* The messages of one state, whole or as changes. */
    void add(const std::vector<Mail::Message>& messages, bool isChange);
    void add(std::uint64_t bytes, bool isChange);

    /* "59 states of changes, 310.2 bytes each; 1 whole, 2100.0 bytes each" */
    std::string text() const;

private:
    struct Count {
        std::uint64_t states = 0;
        std::uint64_t bytes = 0;

        double mean() const {
            return states == 0 ? 0 : static_cast<double>(bytes) / static_cast<double>(states);
        }
    };

    Count changes_;
    Count whole_;
};

#endif
