#include "traffic.h"

#include <cstdio>

void Traffic::add(std::uint64_t bytes, bool isChange) {
    Count& count = isChange ? changes_ : whole_;
    ++count.states;
    count.bytes += bytes;
}

void Traffic::add(const std::vector<Mail::Message>& messages, bool isChange) {
    std::uint64_t bytes = 0;
    for (const Mail::Message& message : messages) {
        bytes += message.getSize();
    }
    add(bytes, isChange);
}

std::string Traffic::text() const {
    char text[128];
    std::snprintf(text, sizeof text,
                  "%llu states of changes, %.1f bytes each; %llu whole, %.1f bytes each",
                  static_cast<unsigned long long>(changes_.states), changes_.mean(),
                  static_cast<unsigned long long>(whole_.states), whole_.mean());
    return text;
}
