// The logging thread and the way queued items reach their files. Items are taken from the queue only
// under the batch lock, by the logging thread or by a thread that drains the queue itself (one ending
// the process, a log going away), so a file receives its lines in queue order whoever writes them.

#include <dovo/CommandLine.h>
#include <dovo/Log.h>
#include <dovo/LogItem.h>
#include <dovo/Queue.h>
#include <dovo/Time.h>
#include <dovo/Trigger.h>

#include "log/LoggingThread.h"
#include "threads/Hold.h"
#include "threads/NativeThread.h"

#include <chrono>
#include <thread>

namespace dovo {

namespace logthread {
std::atomic<bool> g_accepting{false};
}

namespace {

// One queued item and the log it belongs to. The log stays alive while it has items queued: a log
// going away drains the queue first.
struct Entry
{
    Log* log;
    LogItem* item;
    void* spare;
};
static_assert(sizeof(Entry) == 24, "the queue's items are 24 bytes");

// The most items written with one system call.
constexpr std::size_t kBatch = 512;

// Never destroyed: items may be queued and drained while the process's statics go.
Queue& Items()
{
    static auto* queue = new Queue("LogItemQueue", 256, 0, true, sizeof(Entry));
    return *queue;
}
Mutex& BatchLock()
{
    static auto* lock = new Mutex;
    return *lock;
}

std::atomic<bool> g_started{false};
std::atomic<int> g_drainsWaiting{0};
std::atomic<std::uint64_t> g_batches{0}; // batches written, for drains waiting on another writer
std::atomic<_LoggingThread*> g_thread{nullptr};
std::atomic<bool> g_cleanedUp{false};
std::atomic<std::uint32_t> g_cleanupThreadId{0};

Trigger& CleanupDone()
{
    static auto* trigger = new Trigger(false, false);
    return *trigger;
}
Trigger& ThreadEnded()
{
    static auto* trigger = new Trigger(false, false);
    return *trigger;
}

// Writes the entries in order, each run of one log's entries with one write.
void Write(Entry* entries, std::size_t count)
{
    LogItem* items[kBatch];
    for (std::size_t i = 0; i < count;) {
        std::size_t n = 0;
        Log* log = entries[i].log;
        while (i < count && entries[i].log == log) items[n++] = entries[i++].item;
        log->_DisplayAndSave(items, n);
    }
    g_batches.fetch_add(1, std::memory_order_relaxed);
}

// Takes up to a batch without waiting; the batch lock is held.
std::size_t Take(Entry* entries, std::size_t count)
{
    while (count < kBatch && Items().Get(&entries[count])) ++count;
    return count;
}

// Callers write their items themselves from now on. A caller that queued an item before it could see
// this drains the queue itself (Enqueue); one that sees it after is drained here: the fences order the
// flag against the queue on both sides.
void StopAccepting()
{
    logthread::g_accepting.store(false);
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

void DrainForExit()
{
    StopAccepting();
    logthread::Drain();
}

} // namespace

namespace logthread {

bool Started() { return g_started.load(std::memory_order_acquire); }

void Enqueue(Log* log, LogItem* item)
{
    const Entry entry{log, item, nullptr};
    Items().Add(&entry);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    if (!g_accepting.load(std::memory_order_relaxed)) Drain();
}

void Drain(float seconds)
{
    if (!Started()) return;
    ++g_drainsWaiting;
    Mutex& lock = BatchLock();
    // Another writer of the queue is waited for while it gets on; one that has written nothing for the
    // given time is taken for stuck, and the queue is written out beside it.
    const auto take = [&] {
        auto limit = std::chrono::steady_clock::now() + std::chrono::duration<float>(seconds);
        std::uint64_t seen = g_batches.load();
        while (!lock.TryEnter()) {
            if (const std::uint64_t now = g_batches.load(); now != seen) {
                seen = now;
                limit = std::chrono::steady_clock::now() + std::chrono::duration<float>(seconds);
            } else if (std::chrono::steady_clock::now() >= limit) {
                return false;
            }
            // The logging thread waits for items holding the lock: release it from its wait.
            Items().Unblock(true);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    };
    // A batch at a time under the lock, so that a drain waiting elsewhere gets its turn in between
    // (whoever writes a batch takes it whole, so the order holds).
    Entry entries[kBatch];
    for (bool held = take();; held = held && take()) {
        const std::size_t n = Take(entries, 0);
        if (n > 0) Write(entries, n);
        if (held) lock.Leave();
        if (n == 0) break;
    }
    --g_drainsWaiting;
}

} // namespace logthread

_LoggingThread::_LoggingThread() : Thread("LoggingThread") {}

void _LoggingThread::OnLibStartup(CommandLine& commandLine)
{
    m_cleanupInterval = static_cast<float>(commandLine.GetArgument("LogCleanup", 0, String("900")).Float64());
    m_cleanupSize = static_cast<long long>(commandLine.GetArgument("LogCleanup", 1, 5)) << 20;
    LogStatus(SFormat("Log files greater than %lld bytes will be cleaned up every %g seconds", m_cleanupSize,
                      static_cast<double>(m_cleanupInterval)));
    if (g_started.exchange(true)) return;
    // Whatever ends the process from here on writes out what is queued.
    static const bool registered = (native::CallAtProcessExit(DrainForExit), true);
    (void)registered;
    logthread::g_accepting.store(true);
    try {
        Start();
    } catch (...) {
        StopAccepting();
        throw;
    }
}

bool _LoggingThread::Startup()
{
    LogInfo("Logging thread starting up");
    return true;
}

bool _LoggingThread::Execute()
{
    if (!logthread::Accepting()) return false;
    if (g_drainsWaiting.load() > 0) {
        // Another thread is writing the queue out: let it have the batch lock.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }
    {
        Hold<Mutex> hold(BatchLock());
        Entry entries[kBatch];
        if (Items().Get(&entries[0], 0.1f)) Write(entries, Take(entries, 1));
    }
    const std::int64_t now = Time::CurrentTime().TotalMilliseconds();
    if (now >= m_lastCleanup + static_cast<std::int64_t>(m_cleanupInterval * 1000.0f)) {
        m_lastCleanup = now;
        Log::_CleanupPass(m_cleanupSize);
    }
    return true;
}

void _LoggingThread::Cleanup()
{
    StopAccepting();
    logthread::Drain();
    ThreadEnded().Signal();
}

namespace logthread {

void Create()
{
    if (g_thread.load() || g_cleanedUp.load()) return;
    g_thread = new _LoggingThread;
}

bool Closed() { return g_cleanedUp.load(); }

bool Pending() { return Started() && Items().Count() > 0; }

void Flush() { DrainForExit(); }

} // namespace logthread

void Log::LogCleanup()
{
    _LoggingThread* thread = g_thread.load();
    if (!thread) return;
    CleanupDone().Reset();
    g_cleanupThreadId = Thread::CurrentThreadID();
    StopAccepting();
    thread->Signal(0);
    // A logging thread stuck in a write is not waited for beyond this: the queue is written out here.
    const bool started = g_started.load();
    const bool ended = !started || ThreadEnded().Wait(10.0f);
    logthread::Drain();
    if (ended) {
        if (started) thread->WaitFor();
        delete thread;
    }
    g_thread = nullptr;
    g_cleanedUp = true;
    g_cleanupThreadId = 0;
    CleanupDone().Signal();
}

} // namespace dovo
