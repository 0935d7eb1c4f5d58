#include "letters.h"

#include "Globals.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"

namespace {

/* One function for both directions, so that they cannot differ. */
void exchange(Mail::Stream& stream, Letter& letter) {
    stream.transfer(letter.kind, 3);
    stream.transfer(letter.sender, 8);
    if (letter.kind == Letter::Kind::position) {
        stream.transfer(letter.motion);
    }
}

Postage counted{};

} // namespace

void post(std::uint32_t address, const Letter& letter) {
    const Mail::Message message(address);
    {
        Mail::Writer writer(message);
        Letter copy = letter;
        exchange(writer, copy);
    }
    ++counted.letters;
    if (!globalMail->send(message)) {
        ++counted.lost;
    }
}

Postage postage() {
    return counted;
}

Letter readLetter(const Mail::Message& message) {
    Letter letter{};
    Mail::Reader reader(message);
    exchange(reader, letter);
    return letter;
}
