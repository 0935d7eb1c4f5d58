// Reads states into the history.
#include "serial/state_reader.h"

#include <string>
#include <utility>

namespace Common {

bool CommonBufferizer::State::read(const detail::StateHeader& header,
                                   const serial::BitReader& bits) {
    const auto refuse = [this](const char* what) {
        fail(what);
        return false;
    };
    if (sender != 0 && header.session != sender) {
        return refuse("a state of another sender");
    }
    if (header.number <= history.newest().state) {
        return refuse("a state that is not newer than the last one");
    }
    serial::History::Line base;
    if (header.base != 0) {
        const serial::History::Line* const kept = history.findLine(header.base);
        if (kept == nullptr || kept->sum != header.baseSum) {
            return refuse("a state that belongs to another base line");
        }
        base = *kept;
    }
    return attempt<bool>([&] {
        serial::StateReader reader(history, base, bits, limits);
        const bool isRead = attempt<bool>([&] {
            if (!reader.read(factories)) {
                fail(reader.error());
                return false;
            }
            if (isDisturbed) {
                fail(kDisturbed);
                return false;
            }
            if (const std::uint32_t sum = reader.sum(); sum != header.sum) {
                fail("a state that is not what was sent: its sum is " + std::to_string(sum) +
                     reader.suspects());
                return false;
            }
            reader.commit({header.number, header.sum});
            sender = header.session;
            return true;
        });
        if (isRead) {
            history.forget(base.state);
            history.keep(limits.states, limits.bytes);
            return true;
        }
        const std::string why = std::move(error);
        if (!attempt<bool>([&] { return reader.takeBack(); })) {
            history.clear();
        }
        reader.clearMade();
        error = why;
        return false;
    });
}

} // namespace Common
