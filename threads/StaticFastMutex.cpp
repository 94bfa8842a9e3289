// StaticFastMutex and _AutoInitialized: locks and lazy set-up usable before static construction ends.

#include <dovo/Exception.h>
#include <dovo/StaticFastMutex.h>
#include <dovo/_AutoInitialized.h>

#include <thread>

namespace dovo {

namespace {
int AtomicIncrement(volatile int* target) { return __atomic_add_fetch(target, 1, __ATOMIC_SEQ_CST); }
int AtomicDecrement(volatile int* target) { return __atomic_sub_fetch(target, 1, __ATOMIC_SEQ_CST); }
int AtomicRead(const volatile int* target) { return __atomic_load_n(target, __ATOMIC_SEQ_CST); }
} // namespace

bool _AutoInitialized::NeedInitialization()
{
    if (AtomicIncrement(&m_counter) == 1) return true;
    AtomicDecrement(&m_counter);
    // The initialising thread marks completion with a single increment, which never reaches the mark
    // that ends this wait: a second thread arriving during initialisation gives up. Statics that use
    // this are first touched on one thread.
    for (int sleeps = 0, polls = 0; sleeps < 1000;) {
        if (AtomicRead(&m_counter) > 1000000) return false;
        if (++polls == 100) {
            polls = 0;
            ++sleeps;
            std::this_thread::yield();
        }
    }
    Exception::Throw("_AutoInitialized", "NeedInitialization", 0x20000006,
                     "Failed to initialize static object. Are you sure it's a static object?", 0, String(), 1);
}

void _AutoInitialized::DoneInitialization() { AtomicIncrement(&m_counter); }

StaticFastMutex::StaticFastMutex() : m_counter(), m_mutex(FastMutex::NoInit{}), m_marker(0)
{
    // Static objects are built in no fixed order: one used before this ran initialised itself, and
    // holds no waiter now, so setting it up again is safe.
    m_mutex.Initialize();
}

// The member's destructor deletes the native lock; a later use sets it up again.
bool StaticFastMutex::IsInitialized() const
{
    return __atomic_load_n(&m_marker, __ATOMIC_ACQUIRE) == kInitializedMarker;
}

StaticFastMutex::~StaticFastMutex() { __atomic_store_n(&m_marker, 0u, __ATOMIC_RELEASE); }

void StaticFastMutex::Initialize()
{
    if (m_counter.NeedInitialization()) {
        m_mutex.Initialize();
        m_counter.DoneInitialization();
    }
    __atomic_store_n(&m_marker, kInitializedMarker, __ATOMIC_RELEASE);
}

} // namespace dovo
