// A locale that writes numbers with a comma.
#pragma once

#include "support/non_copyable.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace qz::test {

// The process's locale while it lives. On Linux localedef makes it in a directory, from the files
// of Debian's package "locales".
class CommaLocale : NonCopyable {
public:
    explicit CommaLocale([[maybe_unused]] const std::filesystem::path& directory) {
#ifdef _WIN32
        std::setlocale(LC_ALL, "German");
        reason_ = "the system has no locale \"German\"";
#else
        const std::string command = "localedef --no-archive -i de_DE -f UTF-8 '" +
                                    (directory / "de_DE.UTF-8").string() + "' 2>&1";
        const int status = std::system(command.c_str());
        setenv("LOCPATH", directory.c_str(), 1);
        std::setlocale(LC_ALL, "de_DE.UTF-8");
        reason_ = "\"" + command + "\" ended with " + std::to_string(status) +
                  "; package \"locales\" is needed";
#endif
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, "C");
    }

    bool isThere() const {
        return *std::localeconv()->decimal_point == ',';
    }
    const std::string& reason() const {
        return reason_;
    } // why there is no such locale

private:
    std::string reason_;
};

} // namespace qz::test
