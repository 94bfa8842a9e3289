#pragma once

#include <dovo/Export.h>
#include <dovo/Mutex.h>
#include <dovo/Semaphore.h>

#include <atomic>
#include <cstdio>

namespace dovo {

/// A blocking first-in, first-out queue of fixed-size items, copied in and out by value. It never
/// refuses an item: a full ring grows at once (by the growth step, or by a quarter of its size kept
/// between 8 and 1,024 items when the step is 0) and shrinks back to its initial size when a consumer
/// finds it empty after a time-out. Producers and consumers lock separately, so they meet only when
/// the ring grows. A queue made without thread safety has no locks and belongs to one thread.
///
/// A subclass whose items own resources overrides CopyItem and ClearItem; every move of an item (in,
/// out, and to new storage when the ring grows) goes through them.
class DOVO_API Queue
{
public:
    /// The name is kept to its first 16 characters; an item size of 0 means 8; an initial size of 0
    /// means 1.
    Queue(const char* name, unsigned initialSize, unsigned growBy, bool threadSafe, unsigned itemSize);
    /// The copy takes the settings (name, sizes, thread safety) and starts empty, with a semaphore and
    /// locks of its own: a base constructor cannot copy items through a subclass's CopyItem.
    Queue(const Queue& other);
    Queue& operator=(const Queue&) = delete;
    /// Releases the storage. Items still held do not go through ClearItem here (the base destructor
    /// cannot reach a subclass's override), so a subclass whose items own resources calls
    /// Clear(false, false) in its own destructor.
    virtual ~Queue();

    /// Appends an item; returns the count after adding.
    unsigned Add(const void* item);
    /// Puts an item before the oldest one, so that it is taken next; returns the count.
    unsigned AddHead(const void* item);
    /// Waits up to seconds (negative: forever) for an item and takes it; false on time-out or when the
    /// queue is unblocked.
    bool Get(void* out, float seconds);
    /// Takes an item only if one is there.
    bool Get(void* out);
    unsigned Count() const { return m_count.load(std::memory_order_relaxed); }

    /// Releases every thread waiting in Get (they return false). Without reset the queue stays
    /// unblocked, so later timed Gets return false at once until Reset; with reset only the current
    /// waiters are released.
    void Unblock(bool reset);
    void Reset() { m_unblocked.store(false); }
    /// Clears every item (oldest first), shrinks to the initial size and, if asked, unblocks.
    void Clear(bool unblock, bool reset);
    void Report(FILE* file) const;

protected:
    virtual void CopyItem(const void* from, void* to);
    virtual void ClearItem(void* item);
    unsigned ItemSize() const { return m_itemSize; }

private:
    unsigned char* Slot(unsigned index) const { return m_storage + static_cast<std::size_t>(index) * m_itemSize; }
    unsigned Held(unsigned read, unsigned write) const;
    void Grow(unsigned held);
    void Shrink();
    void TakeOldest(void* out);
    void SetIndices(unsigned read, unsigned write);
    bool Empty();
    /// The lock to hold: none in a queue made without thread safety.
    Mutex* Locking(Mutex& lock) const { return m_threadSafe ? &lock : nullptr; }

    // Producers' and consumers' fields lie on cache lines of their own, so that neither side's writes
    // take the other's line away on every item.
    char m_name[17];
    unsigned m_itemSize;
    unsigned m_initialSize;
    unsigned m_growBy;
    bool m_threadSafe;
    unsigned char* m_storage = nullptr;
    unsigned m_capacity = 0; // what the growth rule and Report see
    unsigned m_slots = 0;    // allocated, at least the capacity
    Semaphore m_semaphore;
    std::atomic<bool> m_unblocked{false};
    alignas(64) std::atomic<unsigned> m_write{0};
    unsigned m_readSeen = 0; // the read index as producers last saw it
    mutable Mutex m_addLock;
    alignas(64) std::atomic<unsigned> m_read{0};
    unsigned m_writeSeen = 0; // the write index as consumers last saw it
    mutable Mutex m_getLock;
    std::atomic<int> m_waiters{0};
    alignas(64) std::atomic<unsigned> m_count{0};
};

} // namespace dovo
