#include <dovo/ThreadPolicy.h>

namespace dovo::ThreadPolicy {

Mutex& GlobalThreaded::GetMutex()
{
    static Mutex mutex;
    return mutex;
}

} // namespace dovo::ThreadPolicy
