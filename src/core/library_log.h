// What the library itself needs of the log beyond its public face.
#pragma once

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <chrono>
#include <memory>

// Makes the record pool and the queues; once for each load. Returns -1 if that was done already.
int qz_log_init();

namespace core {

class LogSink;

// qz_log_exit for the unloading of the library: waits for the writer thread's last lines, but for
// two seconds only, because a disk that hangs must not keep a process from ending. A thread that
// has not ended by then keeps what it uses.
void closeLogAtUnload();

// Behind it, when nobody reads any more.
void closeLogReadersAtUnload();

// For the end of a process whose other threads were killed: hands the queued lines to the system,
// and does nothing else.
void rescueLogAtProcessEnd();

// Waits until the writer thread has written what is queued and handed it to the readers, for so
// long at most, and not at all on the writer thread itself. Takes no lock and allocates nothing:
// the handler of a crash calls it.
void letLogCatchUp(std::chrono::milliseconds longest);

// A reader's place for a sink, which the writer thread hands messages to from now on. Null, as
// qz_log_reader_open; for a null sink too.
qz_log_reader* openLogSink(std::unique_ptr<LogSink> sink);

// Whether a reader would get anything: not after the end of the writer thread, nor in a child that
// was forked while it ran.
bool isLogToCome();

} // namespace core
