// The machine in Boost.MSM, whose version in Debian 12 does not compile as C++20.
#pragma once

#include "fsm_table.h"

#include <memory>

namespace bench {

class Msm {
public:
    Msm();
    ~Msm();

    std::uint64_t sumOf(const Events& events);

private:
    class Machine;
    std::unique_ptr<Machine> machine_;
};

} // namespace bench
