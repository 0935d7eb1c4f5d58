// One configuration file: reading it, explaining its mistakes, writing it back.
#pragma once

#include "failure.h"
#include "line_ends.h"

#include "Config/ConfigParser.h"

#include <string>
#include <utility>

// A mistake in a configuration file.
struct Mistake {
    std::string message;
    size_t line = 0;   // from 1
    size_t offset = 0; // in bytes, of the file
    std::string text;  // the line
    size_t column = 0; // in bytes, within the line
};

// Another program has written the file since it was read.
class ChangedMeanwhile : public Failure {
public:
    using Failure::Failure;
};

// A file that is read and replaced; "-" is standard input and output.
class FileToChange {
public:
    explicit FileToChange(std::string name) : name_(std::move(name)) {}

    const std::string& name() const { return name_; }

    // Both throw Failure. replace throws ChangedMeanwhile if the file no longer holds what was
    // read, and replaces the file in one step.
    std::string read();
    void replace(const std::string& text) const;

private:
    std::string name_;
    std::string bytes_;
};

class ConfFile {
public:
    // Reads the file; throws Failure if it cannot be read. With bareLineFeeds its lines may end in
    // bare line feeds.
    ConfFile(const std::string& name, bool bareLineFeeds);

    // Returns false, and the mistake, if the file is no valid configuration.
    bool parse(Mistake& mistake);

    // Throws Failure with file, line and message if the file is no valid configuration.
    void parse();

    // Whether a // comment goes on behind a bare line feed, which is no error, but looks like its
    // end.
    bool hasCommentThatGoesOn(Mistake& mistake) const;

    const std::string& name() const { return file_.name(); }
    ConfigParser& tree() { return parser_; }

    // In the library's layout, with the file's line ends.
    std::string formatted();

    // Replaces the file by the whole tree in the library's layout, or by the original text with
    // only the changes. Both throw what FileToChange::replace throws.
    void writeFormatted();
    void writeEdited();

private:
    const std::string& text() const { return lines_.text(); }
    Mistake locate(size_t at) const;

    FileToChange file_;
    bool bareLineFeeds_;
    CompletedLines lines_; // with CR LF, which the parser requires
    ConfigParser parser_;
};
