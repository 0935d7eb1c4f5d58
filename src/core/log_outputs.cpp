#include "core/log_outputs.h"

#include "platform/cut_text.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace core {

bool LogOutputs::Output::accepts(const LogMessage& message) const {
    return (mask & message.level) != 0 &&
           (moduleFilter[0] == '\0' || std::strcmp(moduleFilter, message.module) == 0);
}

bool LogOutputs::setDirectory(const char* directory) {
    platform::copyCut(directory_, directory);
    return std::strcmp(directory_, directory) == 0;
}

bool LogOutputs::open(const char* name, const char* moduleFilter, std::uint32_t mask) {
    std::unique_ptr<Output> output(new (std::nothrow) Output);
    if (!output) {
        return false;
    }
    output->mask = mask;
    platform::copyCut(output->moduleFilter, moduleFilter);
    platform::copyCut(output->name, name);
    char path[512];
    std::snprintf(path, sizeof path, "%s/%s.log", directory_, output->name);
    if (!output->file.open(path)) {
        return false;
    }
    output->next = std::move(first_);
    first_ = std::move(output);
    return true;
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
    platform::copyCut(name, request.message);
    std::unique_ptr<Output>& place = find(name);
    if (place && request.level == 0) {
        place = std::move(place->next);
    } else if (place) {
        place->mask = request.level;
        platform::copyCut(place->moduleFilter, request.module);
    } else if (request.level != 0) {
        open(name, request.module, request.level);
    }
}

void LogOutputs::write(const LogMessage& message) {
    Output* output = first_.get();
    while (output != nullptr && !output->accepts(message)) {
        output = output->next.get();
    }
    if (output == nullptr) {
        return;
    }
    const LogLine line(message.time, message.level, message.module, message.text);
    for (; output != nullptr; output = output->next.get()) {
        if (output->accepts(message)) {
            output->file.append(line, message.time, message.count);
        }
    }
}

void LogOutputs::flush() {
    for (Output* output = first_.get(); output != nullptr; output = output->next.get()) {
        output->file.flush();
    }
}

void LogOutputs::closeAll() {
    while (first_) {
        first_ = std::move(first_->next);
    }
}

} // namespace core
