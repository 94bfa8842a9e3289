#pragma once

#include <dovo/Export.h>

namespace dovo {

/// A counter that lets exactly one thread perform a lazy initialisation of a static object. It works
/// in zero-initialised static memory before its constructor has run.
class DOVO_API _AutoInitialized
{
public:
    _AutoInitialized() : m_counter(0) {}

    /// True for exactly one caller, which must initialise and then call DoneInitialization(). Another
    /// caller waits for a finished initialisation and gives up with an exception.
    bool NeedInitialization();
    void DoneInitialization();

private:
    volatile int m_counter;
};

} // namespace dovo
