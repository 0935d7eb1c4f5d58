#include "core/log_outputs.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace core {

namespace {

constexpr std::size_t kPathSize = 512;

void keepPreviousGeneration(const char* path) {
    constexpr char kSuffix[] = ".old";
    char old[kPathSize + sizeof kSuffix];
    std::snprintf(old, sizeof old, "%s%s", path, kSuffix);
    platform::replaceFile(path, old);
}

} // namespace

LogOutputs::Output::~Output() {
    if (file != platform::kNoTextFile) {
        flush();
        platform::closeTextFile(file);
    }
}

bool LogOutputs::Output::accepts(std::uint32_t level, const char* module) const {
    return (mask & level) != 0 &&
           (moduleFilter[0] == '\0' || std::strcmp(moduleFilter, module) == 0);
}

void LogOutputs::Output::append(const LogLine& line) {
    if (used + line.length() > sizeof buffer) {
        flush();
    }
    std::memcpy(buffer + used, line.text(), line.length());
    used += line.length();
}

void LogOutputs::Output::flush() {
    if (used > 0) {
        platform::writeText(file, buffer, used);
        used = 0;
    }
}

void LogOutputs::setDirectory(const char* directory) {
    copyCut(directory_, directory);
}

void LogOutputs::open(const char* name, const char* moduleFilter, std::uint32_t mask) {
    std::unique_ptr<Output> output(new (std::nothrow) Output);
    if (!output) {
        return;
    }
    output->mask = mask;
    copyCut(output->moduleFilter, moduleFilter);
    copyCut(output->name, name);

    char path[kPathSize];
    std::snprintf(path, sizeof path, "%s/%s.log", directory_, output->name);
    if (platform::isOrdinaryFile(path)) {
        keepPreviousGeneration(path);
    }
    output->file = platform::openTextFile(path);
    if (output->file != platform::kNoTextFile) {
        output->next = std::move(first_);
        first_ = std::move(output);
    }
}

std::unique_ptr<LogOutputs::Output>& LogOutputs::find(const char* name) {
    std::unique_ptr<Output>* place = &first_;
    while (*place && std::strcmp((*place)->name, name) != 0) {
        place = &(*place)->next;
    }
    return *place;
}

void LogOutputs::handle(const LogRecord& request) {
    char name[sizeof(Output::name)];
    copyCut(name, request.message);
    std::unique_ptr<Output>& place = find(name);
    if (place && request.level == 0) {
        place = std::move(place->next);
    } else if (place) {
        place->mask = request.level;
        copyCut(place->moduleFilter, request.module);
    } else if (request.level != 0) {
        open(name, request.module, request.level);
    }
}

bool LogOutputs::wants(std::uint32_t level, const char* module) const {
    for (const Output* output = first_.get(); output != nullptr; output = output->next.get()) {
        if (output->accepts(level, module)) {
            return true;
        }
    }
    return false;
}

void LogOutputs::write(std::uint32_t level, const char* module, const LogLine& line) {
    for (Output* output = first_.get(); output != nullptr; output = output->next.get()) {
        if (output->accepts(level, module)) {
            output->append(line);
        }
    }
}

void LogOutputs::flush() {
    for (Output* output = first_.get(); output != nullptr; output = output->next.get()) {
        output->flush();
    }
}

void LogOutputs::flushWithoutLock() {
    for (Output* output = first_.get(); output != nullptr; output = output->next.get()) {
        platform::writeTextWithoutLock(output->file, output->buffer,
                                       std::exchange(output->used, 0));
    }
}

void LogOutputs::closeAll() {
    while (first_) {
        first_ = std::move(first_->next);
    }
}

} // namespace core
