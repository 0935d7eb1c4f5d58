// The exceptions that end a command early.
#pragma once

#include <stdexcept>

// Failure: the job failed, exit code 1. UsageError: the command line is wrong, exit code 2.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
