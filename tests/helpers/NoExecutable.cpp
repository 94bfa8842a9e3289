// A program that links the library for its main but defines no executable object.

#include <dovo/Platform.h>

namespace {
// Something of the library's in use, so that no linker drops it.
[[maybe_unused]] const unsigned g_pid = dovo::Platform::ProcessId();
} // namespace
