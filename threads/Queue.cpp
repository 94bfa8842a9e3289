// The queue's ring: the write index is the next slot to fill, the read index the oldest item; they are
// equal only when the ring is empty, because a ring that becomes full grows at once. Producers move the
// write index under the add lock, consumers the read index under the get lock; whatever moves the read
// index backwards or replaces the storage holds both (add lock first).
//
// The capacity (what the queue reports and the growth rule works on) may be below the slots allocated:
// the block is replaced only when the capacity outgrows it, and then by at least twice as many slots.
// Growing by a fixed step would otherwise copy every held item once per step, which makes a long
// queue quadratic to fill (a million queued tasks took tens of seconds).

#include <dovo/Queue.h>
#include <dovo/SyncException.h>

#include "threads/Hold.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace dovo {

namespace {
constexpr int kSemaphoreMaximum = 0x7FFFFFFF;

unsigned char* NewBlock(unsigned items, unsigned itemSize)
{
    void* block = std::calloc(items, itemSize);
    if (!block) throw std::bad_alloc();
    return static_cast<unsigned char*>(block);
}
} // namespace

Queue::Queue(const char* name, unsigned initialSize, unsigned growBy, bool threadSafe, unsigned itemSize)
    : m_itemSize(itemSize ? itemSize : 8), m_initialSize(std::max(initialSize, 1u)), m_growBy(growBy),
      m_threadSafe(threadSafe), m_semaphore(0, kSemaphoreMaximum)
{
    std::snprintf(m_name, sizeof m_name, "%s", name ? name : "");
    m_storage = NewBlock(m_initialSize, m_itemSize);
    m_capacity = m_slots = m_initialSize;
}

Queue::Queue(const Queue& other)
    : Queue(other.m_name, other.m_initialSize, other.m_growBy, other.m_threadSafe, other.m_itemSize)
{
}

Queue::~Queue() { std::free(m_storage); }

void Queue::CopyItem(const void* from, void* to) { std::memcpy(to, from, m_itemSize); }

void Queue::ClearItem(void* item) { std::memset(item, 0, m_itemSize); }

using Guard = HoldIf<Mutex>;

unsigned Queue::Add(const void* item)
{
    unsigned count = 0;
    {
        Guard add(Locking(m_addLock));
        const unsigned write = m_write.load(std::memory_order_relaxed);
        CopyItem(item, Slot(write));
        // Counted before the item is published, so that a consumer never takes the count below zero.
        count = m_count.fetch_add(1, std::memory_order_relaxed) + 1;
        const unsigned next = write + 1 == m_slots ? 0 : write + 1;
        // The read index last seen is never ahead of the real one, so the count it gives is never too
        // low; the real one (on the consumers' cache line) is read only when that count says full.
        if (Held(m_readSeen, next) < m_capacity ||
            Held(m_readSeen = m_read.load(std::memory_order_acquire), next) < m_capacity) {
            m_write.store(next, std::memory_order_release);
        } else {
            // Only consumers move the read index while the add lock is held, and only forwards: once
            // they are held off, the ring is full exactly when it still holds capacity items.
            Guard get(Locking(m_getLock));
            m_write.store(next, std::memory_order_release);
            const unsigned held = Held(m_readSeen = m_read.load(std::memory_order_relaxed), next);
            if (held >= m_capacity) Grow(held);
        }
    }
    m_semaphore.Post(1);
    return count;
}

unsigned Queue::AddHead(const void* item)
{
    unsigned count = 0;
    {
        Guard add(Locking(m_addLock));
        Guard get(Locking(m_getLock));
        const unsigned read = m_read.load(std::memory_order_relaxed);
        const unsigned head = read == 0 ? m_slots - 1 : read - 1;
        CopyItem(item, Slot(head));
        count = m_count.fetch_add(1, std::memory_order_relaxed) + 1;
        m_read.store(head, std::memory_order_release);
        m_readSeen = head;
        const unsigned held = Held(head, m_write.load(std::memory_order_relaxed));
        if (held >= m_capacity) Grow(held);
    }
    m_semaphore.Post(1);
    return count;
}

// Items in the ring from read up to write; equal indices mean every slot is taken, since an empty ring
// never calls this.
unsigned Queue::Held(unsigned read, unsigned write) const
{
    return write > read ? write - read : write + m_slots - read;
}

// Called with both locks held and the ring holding capacity items. Items move through CopyItem and
// ClearItem, oldest first, so that items which point into themselves stay valid.
void Queue::Grow(unsigned held)
{
    const unsigned capacity = m_capacity + (m_growBy ? m_growBy : std::clamp(m_capacity / 4, 8u, 1024u));
    if (capacity > m_slots) {
        const unsigned slots = std::max(capacity, m_slots * 2);
        unsigned char* block = NewBlock(slots, m_itemSize);
        unsigned from = m_read.load(std::memory_order_relaxed);
        for (unsigned i = 0; i < held; ++i) {
            CopyItem(Slot(from), block + static_cast<std::size_t>(i) * m_itemSize);
            ClearItem(Slot(from));
            from = from + 1 == m_slots ? 0 : from + 1;
        }
        std::free(m_storage);
        m_storage = block;
        m_slots = slots;
        SetIndices(0, held);
    }
    m_capacity = capacity;
}

void Queue::Shrink()
{
    if (m_threadSafe && !m_addLock.TryEnter()) return;
    Guard add(Locking(m_addLock), Guard::AlreadyEntered());
    Guard get(Locking(m_getLock));
    if (m_read.load(std::memory_order_relaxed) == m_write.load(std::memory_order_relaxed) &&
        m_capacity > m_initialSize) {
        unsigned char* block = NewBlock(m_initialSize, m_itemSize);
        std::free(m_storage);
        m_storage = block;
        m_capacity = m_slots = m_initialSize;
        SetIndices(0, 0);
    }
}

// With both locks held: places both indices, and the copies each side keeps of the other's.
void Queue::SetIndices(unsigned read, unsigned write)
{
    m_read.store(read, std::memory_order_relaxed);
    m_write.store(write, std::memory_order_release);
    m_readSeen = read;
    m_writeSeen = write;
}

// With the get lock held. The write index last seen is never ahead of the real one, and the items up to
// it are published; the real one (on the producers' cache line) is read only when that one says empty.
bool Queue::Empty()
{
    const unsigned read = m_read.load(std::memory_order_relaxed);
    return read == m_writeSeen && read == (m_writeSeen = m_write.load(std::memory_order_acquire));
}

// Called with the get lock held and the ring not empty.
void Queue::TakeOldest(void* out)
{
    const unsigned read = m_read.load(std::memory_order_relaxed);
    unsigned char* slot = Slot(read);
    CopyItem(slot, out);
    ClearItem(slot);
    m_read.store(read + 1 == m_slots ? 0 : read + 1, std::memory_order_release);
}

bool Queue::Get(void* out, float seconds)
{
    if (m_unblocked.load()) return false;
    // Only a thread that must sleep counts as waiting (for Unblock): an item at hand is taken at once.
    bool signalled = m_semaphore.Wait(0);
    if (!signalled && seconds != 0) {
        m_waiters.fetch_add(1);
        signalled = m_semaphore.Wait(seconds);
        m_waiters.fetch_sub(1);
    }
    if (!signalled) {
        Shrink();
        return false;
    }
    if (m_unblocked.load()) return false;
    Guard get(Locking(m_getLock));
    if (Empty()) return false;
    TakeOldest(out);
    m_count.fetch_sub(1, std::memory_order_relaxed);
    return true;
}

bool Queue::Get(void* out)
{
    Guard get(Locking(m_getLock));
    if (Empty()) return false;
    TakeOldest(out);
    m_semaphore.Wait(0);
    m_count.fetch_sub(1, std::memory_order_relaxed);
    return true;
}

void Queue::Unblock(bool reset)
{
    if (m_unblocked.exchange(true)) return;
    const int waiters = m_waiters.load();
    try {
        if (waiters > 0) m_semaphore.Post(waiters);
    } catch (...) {
        if (reset) m_unblocked.store(false);
        throw;
    }
    if (reset) m_unblocked.store(false);
}

void Queue::Clear(bool unblock, bool reset)
{
    {
        Guard add(Locking(m_addLock));
        Guard get(Locking(m_getLock));
        unsigned read = m_read.load(std::memory_order_relaxed);
        const unsigned write = m_write.load(std::memory_order_relaxed);
        unsigned cleared = 0;
        for (; read != write; ++cleared) {
            ClearItem(Slot(read));
            read = read + 1 == m_slots ? 0 : read + 1;
        }
        SetIndices(0, 0);
        m_count.store(0, std::memory_order_relaxed);
        // The cleared items' counts go too, so that a later Get waits instead of waking to nothing. A
        // consumer already woken for one of them finds the ring empty and returns false.
        while (cleared-- > 0 && m_semaphore.Wait(0)) {
        }
        Shrink();
    }
    if (unblock) Unblock(reset);
}

void Queue::Report(FILE* file) const
{
    Guard add(Locking(m_addLock));
    Guard get(Locking(m_getLock));
    const unsigned count = Count();
    std::fprintf(file, "\tQueue '%s' (item size = %u):\t%u Item%s.\tCurrent size = %u (initial = %u)\n", m_name,
                 m_itemSize, count, count == 1 ? "" : "s", m_capacity, m_initialSize);
}

} // namespace dovo
