/* A command line, as a list of tokens and by options. C++ only, for programs built by the library's
 * compiler.
 *
 *     qz::ConsoleArgs args(SYS_argc(), SYS_argv());
 *     int port = 0;
 *     args.getOptionalInt("-port", port, 7777);
 *     for (const std::string& file : args.getAllValues("--load")) ...
 *
 * Every token that begins with "-" is an option, even a negative number, and the tokens up to the
 * next option are its values. The tokens before the first option, which include the program's name,
 * are values of the option with the empty name. Names include their dashes: "-x" and "--x" are two
 * options. An option that is given twice has the values of both.
 *
 * Threads: an object is for one thread at a time, or for any number of threads that only read it.
 */
#ifndef QZCORE_UTIL_CONSOLEARGS_H
#define QZCORE_UTIL_CONSOLEARGS_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <concepts>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace qz {

/* what() is the message. */
class QZ_API InvalidConsoleArgsException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class QZ_API ConsoleArgs {
public:
    /* Makes an object without tokens. */
    ConsoleArgs();

    /* Takes the arguments of a process, the program's name included; a count below 1 gives no
     * tokens. Throws InvalidConsoleArgsException "Failed to parse console arguments" if an argument
     * is null or empty. */
    ConsoleArgs(int count, const char* const* arguments);

    /* Take these tokens, in order. */
    explicit ConsoleArgs(const std::string& token);
    ConsoleArgs(const std::string& first, const std::string& second);
    ConsoleArgs(const std::string& first, const std::string& second, const std::string& third);
    explicit ConsoleArgs(std::vector<std::string> tokens);
    ConsoleArgs(std::initializer_list<std::string> tokens)
        : ConsoleArgs(std::vector<std::string>(tokens)) {}

    /* The number of tokens. */
    std::uint64_t size() const { return tokens_.size(); }

    /* The index of the first token that is equal to the name, or -1. */
    int indexOf(const std::string& name) const;

    /* Returns whether there is such a token, as an option or as a value. */
    bool defined(const std::string& name) const;

    /* The token with this index. Throw InvalidConsoleArgsException "Invalid console arguments" if
     * there is none. */
    std::string operator[](int index) const;
    template<std::integral Index>
    std::string operator[](Index index) const {
        const bool isToken = index >= 0 && static_cast<std::uint64_t>(index) < size();
        return (*this)[isToken ? static_cast<int>(index) : -1];
    }

    /* An option's first value; empty if it has none or is unknown. */
    std::string operator[](const std::string& name) const;
    std::string operator[](const char* name) const { return (*this)[std::string(name)]; }

    /* Read the first value of an option. A name that is among the tokens only as a value counts as
     * an option whose value is the empty string.
     *
     * If no token equals the name, `out` becomes the default, or does not change if there is none.
     *
     * The whole value has to be a decimal number, with "+", "-" or no sign. Any other value, or one
     * that does not fit, throws InvalidConsoleArgsException with the message Failed to parse "NAME"
     * integer argument: "VALUE", or "double" in place of "integer"; `out` does not change. */
    void getOptionalString(const std::string& name, std::string& out) const;
    void getOptionalInt(const std::string& name, int& out) const;
    void getOptionalInt(const std::string& name, int& out, int otherwise) const;
    void getOptionalDouble(const std::string& name, double& out) const;
    void getOptionalDouble(const std::string& name, double& out, double otherwise) const;

    /* All of an option's values; none if it is unknown. */
    std::vector<std::string> getAllValues(const std::string& name) const;

    /* The options that are not among `known`, each once, in order. "-5" is an option, too. */
    std::vector<std::string> getUnknown(const std::vector<std::string>& known) const;

    /* Removes the first token, if there is one. The options and their values do not change. */
    void pop();

    /* Removes an option, and tokens from the first one that equals its name: with a count of -1,
     * that token and those up to the next option, else `count` tokens, or all that are left. */
    void removeKey(const std::string& name, int count);

private:
    QZ_LOCAL void init();

    std::deque<std::string> tokens_;
    std::map<std::string, std::vector<std::string>> options_;
};

} // namespace qz

#endif
