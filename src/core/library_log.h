// What the library itself needs of the log beyond Core/Log.h.
#pragma once

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <chrono>
#include <memory>

// Makes the record pool and the queues, once for each load. Returns -1 if they are there already.
int qz_log_init();

namespace core {

class LogSink;

// qz_log_exit for the unloading of the library. It waits for the writer thread's last lines, but no
// longer than the limit. A thread that has not ended by then keeps what it uses.
void closeLogAtUnload(std::chrono::milliseconds limit);

// Closes all readers. To be called after closeLogAtUnload, when nobody reads any more.
void closeLogReadersAtUnload();

// For the end of a process whose other threads were killed: hands the queued lines to the system
// and does nothing else.
void rescueLogAtProcessEnd();

// Waits until the writer thread has written what is queued and handed it to the readers, but at
// most for `longest`, and not at all on the writer thread itself. Takes no lock and allocates
// nothing, because the handler of a crash calls it.
void letLogCatchUp(std::chrono::milliseconds longest);

// Opens a reader for a sink: from now on the writer thread hands messages to it. Null for the same
// reasons as qz_log_reader_open, and for a null sink.
qz_log_reader* openLogSink(std::unique_ptr<LogSink> sink);

// Whether a reader could still get messages: not after the end of the writer thread, nor in a child
// that was forked while that thread ran.
bool isLogToCome();

} // namespace core
