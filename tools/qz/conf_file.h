// One configuration file: read, explained, written back.
#pragma once

#include "failure.h"
#include "line_ends.h"

#include "Config/ConfigParser.h"

#include <string>
#include <utility>

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

// A file that is read and replaced; "-" is standard input and output.
class FileToChange {
public:
    explicit FileToChange(std::string name) : name_(std::move(name)) {}

    const std::string& name() const { return name_; }

    // Throw Failure; the second ChangedMeanwhile if the file holds no more what was read. It is
    // replaced in one step.
    std::string read();
    void replace(const std::string& text) const;

private:
    std::string name_;
    std::string bytes_;
};

class ConfFile {
public:
    // Reads the file; throws Failure if it cannot be read. With bareLineFeeds its lines may end in
    // them.
    ConfFile(const std::string& name, bool bareLineFeeds);

    // False, with the mistake, if it is no configuration.
    bool parse(Mistake& mistake);

    // Throws Failure instead, with file, line and message.
    void parse();

    // Whether a comment does not end where people see it end, though that is no error.
    bool hasCommentThatGoesOn(Mistake& mistake) const;

    const std::string& name() const { return file_.name(); }
    ConfigParser& tree() { return parser_; }

    // In the library's layout, with the file's line ends.
    std::string formatted();

    // Replaces the file by what is in the tree or by the original text with the changes alone;
    // throws what FileToChange::replace does.
    void writeFormatted();
    void writeEdited();

private:
    const std::string& text() const { return lines_.text(); }
    Mistake locate(size_t at) const;

    FileToChange file_;
    bool bareLineFeeds_;
    CompletedLines lines_; // with CR LF, as the parser wants it
    ConfigParser parser_;
};
