#pragma once

#include <dovo/ThreadPolicy.h>

namespace dovo {

template <typename Policy>
class HasSlots;

/// The base of every signal, as slot holders see it: it can drop all its connections to a holder, and
/// give a holder's copy the connections the original has.
template <typename Policy = ThreadPolicy::LocalThreaded>
class SignalBase : public Policy
{
public:
    virtual ~SignalBase() = default;
    /// Removes every connection of this signal to the holder (the holder is going or disconnecting).
    virtual void SlotDisconnect(HasSlots<Policy>* holder) = 0;
    /// Connects the copy of a holder wherever the original is connected.
    virtual void SlotDuplicate(const HasSlots<Policy>* original, HasSlots<Policy>* copy) = 0;
};

} // namespace dovo
