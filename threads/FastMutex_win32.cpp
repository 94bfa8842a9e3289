#include <dovo/FastMutex.h>

#include "core/Win32Support.h"

namespace dovo {

namespace {
static_assert(sizeof(CRITICAL_SECTION) <= 40 && alignof(CRITICAL_SECTION) <= 8, "FastMutex storage too small");

CRITICAL_SECTION* Native(unsigned char* storage) { return reinterpret_cast<CRITICAL_SECTION*>(storage); }
} // namespace

FastMutex::FastMutex() { Initialize(); }

FastMutex::FastMutex(const FastMutex&) { Initialize(); }

FastMutex::~FastMutex() { Destroy(); }

void FastMutex::Initialize() { InitializeCriticalSection(Native(m_native)); }

void FastMutex::Destroy() { DeleteCriticalSection(Native(m_native)); }

void FastMutex::Enter() { EnterCriticalSection(Native(m_native)); }

void FastMutex::Leave() { LeaveCriticalSection(Native(m_native)); }

bool FastMutex::TryEnter() { return TryEnterCriticalSection(Native(m_native)) != 0; }

} // namespace dovo
