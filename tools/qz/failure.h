// Why a command ends early.
#pragma once

#include <stdexcept>

// What went wrong with the job: exit code 1. What is wrong with the command line: exit code 2.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
