#pragma once

#include <dovo/Export.h>
#include <dovo/FastMutex.h>
#include <dovo/_AutoInitialized.h>

namespace dovo {

/// A FastMutex for objects of static storage: usable before its own constructor has run (the first
/// use initialises it), so statics can lock while static construction is still going on. The first
/// use must come from one thread: a second thread arriving while the first initialises gives up with
/// an exception (see _AutoInitialized). The constructor sets the lock up afresh.
class DOVO_API StaticFastMutex
{
public:
    StaticFastMutex();
    ~StaticFastMutex();

    void Enter() { Get().Enter(); }
    void Leave() { Get().Leave(); }
    bool TryEnter() { return Get().TryEnter(); }
    operator FastMutex&() { return Get(); }
    operator FastMutex*() { return &Get(); }

    static constexpr unsigned kInitializedMarker = 0x55378008;

private:
    StaticFastMutex(const StaticFastMutex&) = delete;
    StaticFastMutex& operator=(const StaticFastMutex&) = delete;

    void Initialize();
    bool IsInitialized() const;
    FastMutex& Get()
    {
        if (!IsInitialized()) Initialize();
        return m_mutex;
    }

    _AutoInitialized m_counter;
    FastMutex m_mutex;
    volatile unsigned m_marker;
};

} // namespace dovo
