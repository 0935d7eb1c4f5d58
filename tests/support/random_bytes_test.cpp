// Tries the fuzz target that is built into the same test program, on each system and under each
// sanitizer. `./dev fuzz` looks further.
#include "support/test.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Every second input is made of characters that mean something in texts and paths.
TEST(FuzzTarget, TakesAnyBytes) {
    constexpr std::uint8_t kMeaningful[] = {'/', '\\', '.',  ':',  'a',  'B',  ' ', 0,
                                            3,   8,    0x7F, 0x80, 0xE2, 0xAC, 0xFF};
    std::mt19937 random(20261121);
    for (int round = 0; round < 1000; ++round) {
        std::vector<std::uint8_t> input(1 + random() % 2000);
        for (std::uint8_t& byte : input) {
            const auto any = static_cast<std::uint8_t>(random());
            byte = round % 2 == 0 ? any : kMeaningful[any % std::size(kMeaningful)];
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
}
