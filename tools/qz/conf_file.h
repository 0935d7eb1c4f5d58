// One configuration file: read, explained, written back.
#pragma once

#include "failure.h"

#include "Config/ConfigParser.h"

#include <string>

// Where a file is no configuration.
struct Mistake {
    std::string message;
    size_t line = 0;   // from 1
    size_t offset = 0; // in bytes, of the file
    std::string text;  // the line
    size_t column = 0; // in bytes, within the line
};

// Somebody else has written the file since it was read.
class ChangedMeanwhile : public Failure {
public:
    using Failure::Failure;
};

class ConfFile {
public:
    // Reads the file; throws Failure if it cannot be read. With bareLineFeeds its lines end in LF.
    ConfFile(std::string name, bool bareLineFeeds);

    // False, with the mistake, if it is no configuration.
    bool parse(Mistake& mistake);

    // Throws Failure instead, with file, line and message.
    void parse();

    const std::string& name() const { return name_; }
    ConfigParser& tree() { return parser_; }

    // In the library's layout, with the file's line ends.
    std::string formatted();

    // Replaces the file in one step, by what is in the tree or by the original text with the
    // changes alone. Throws Failure; ChangedMeanwhile if these are no more the file's contents.
    void writeFormatted();
    void writeEdited();

private:
    void replace(const std::string& text) const;
    Mistake locate(const ConfigParser::Error& error) const;

    std::string name_;
    bool bareLineFeeds_;
    std::string bytes_; // of the file
    std::string text_;  // with CR LF, as the parser wants it
    ConfigParser parser_;
};
