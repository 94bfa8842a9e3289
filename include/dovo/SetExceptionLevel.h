#pragma once

#include <dovo/Stream.h>

namespace dovo {

/// Sets the exception level of a stream (and its transport) or of a transport for a scope, and puts
/// the old level back when the scope ends.
class DOVO_API SetExceptionLevel
{
public:
    SetExceptionLevel(Stream* stream, signed char level);
    SetExceptionLevel(Stream::Transport* transport, signed char level);
    SetExceptionLevel(const SetExceptionLevel&) = delete;
    SetExceptionLevel& operator=(const SetExceptionLevel&) = delete;
    ~SetExceptionLevel();

    signed char OldLevel() const { return m_oldLevel; }

private:
    void* m_target;
    bool m_isStream;
    signed char m_oldLevel;
};

} // namespace dovo
