#pragma once

// Items of queued log calls are used again: the logging thread gives back the ones it wrote and did
// not keep, and later calls fill them in, so that a call neither allocates its item nor copies its text
// into fresh memory. Internal to the library; exported for its tests.

#include <dovo/Export.h>
#include <dovo/LogItem.h>

#include <cstddef>

namespace dovo::logitems {

/// An item of the calling thread made now: one given back earlier, else a new one.
DOVO_API LogItem* Make(LogLevel level, const String& text);
/// Takes back items that are no longer used, for later calls; deletes those the pool has no room for.
DOVO_API void GiveBack(LogItem* const* items, std::size_t count);

} // namespace dovo::logitems
