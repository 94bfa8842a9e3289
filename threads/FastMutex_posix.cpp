#include <dovo/FastMutex.h>

#include <new>
#include <pthread.h>

namespace dovo {

namespace {
static_assert(sizeof(pthread_mutex_t) <= 40 && alignof(pthread_mutex_t) <= 8, "FastMutex storage too small");

pthread_mutex_t* Native(unsigned char* storage) { return reinterpret_cast<pthread_mutex_t*>(storage); }
} // namespace

FastMutex::FastMutex() { Initialize(); }

FastMutex::FastMutex(const FastMutex&) { Initialize(); }

FastMutex::~FastMutex() { Destroy(); }

void FastMutex::Initialize()
{
    // Recursive, as the critical section it stands for.
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (m_native) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void FastMutex::Destroy() { pthread_mutex_destroy(Native(m_native)); }

void FastMutex::Enter() { pthread_mutex_lock(Native(m_native)); }

void FastMutex::Leave() { pthread_mutex_unlock(Native(m_native)); }

bool FastMutex::TryEnter() { return pthread_mutex_trylock(Native(m_native)) == 0; }

} // namespace dovo
