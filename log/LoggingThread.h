#pragma once

// The logging thread: callers queue their log items and it writes them, a batch per system call, and
// renews log files that grew past a size at a fixed interval. Whatever ends the process writes out what
// is still queued first (Drain). Internal to the library; a few calls are exported for its tests.

#include <dovo/Export.h>
#include <dovo/Thread.h>

#include <atomic>
#include <cstdint>

namespace dovo {

class Log;
class LogItem;

class _LoggingThread : public Thread
{
public:
    _LoggingThread();

    /// Reads the switch LogCleanup (interval in seconds, size in megabytes) and starts the thread.
    void OnLibStartup(CommandLine& commandLine) override;
    bool Startup() override;
    bool Execute() override;
    /// Callers write their items themselves from now on; what is still queued is written here.
    void Cleanup() override;

private:
    float m_cleanupInterval = 900.0f;
    long long m_cleanupSize = 5LL << 20;
    std::int64_t m_lastCleanup = 0;
};

namespace logthread {

extern std::atomic<bool> g_accepting;

/// Whether the logging thread takes items now (read on every log call).
inline bool Accepting() { return g_accepting.load(std::memory_order_acquire); }
/// Hands the item to the logging thread; it writes it through the log later.
void Enqueue(Log* log, LogItem* item);
/// Writes every queued item now, on the calling thread, in queue order. A batch the logging thread is
/// writing is waited for up to seconds; one that takes longer is left to it.
DOVO_API void Drain(float seconds = 5.0f);
/// Whether a logging thread was ever started (then logs going away drain the queue first).
bool Started();
/// Whether items are queued.
bool Pending();
/// Makes the logging thread (started by the library's start-up), unless the log clean-up has run.
void Create();
/// Whether the log clean-up has run: no log may be made any more.
bool Closed();
/// For whatever ends the process: callers write their own items from now on, and the queue is written.
void Flush();

} // namespace logthread

} // namespace dovo
