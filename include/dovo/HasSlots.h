#pragma once

#include <dovo/SignalBase.h>

#include <functional>
#include <list>

namespace dovo {

/// The base of objects whose member functions are connected to signals. It remembers every signal
/// connected to it; when it is destroyed, every such connection is cut, so that no signal calls into
/// a dead object. Objects used from several threads should call DisconnectAll() in their own
/// destructor, before their members go.
template <typename Policy = ThreadPolicy::LocalThreaded>
class HasSlots : public Policy
{
public:
    HasSlots() = default;
    /// A copy is connected wherever the original is, as often as the original is.
    HasSlots(const HasSlots& other) : Policy(other)
    {
        // A signal connected twice is listed twice, yet one SlotDuplicate copies all its connections.
        std::list<SignalBase<Policy>*> signals = other.Signals();
        signals.sort(std::less<SignalBase<Policy>*>());
        signals.unique();
        for (SignalBase<Policy>* signal : signals) signal->SlotDuplicate(&other, this);
    }
    /// Assignment leaves the connections as they are.
    HasSlots& operator=(const HasSlots&) { return *this; }
    virtual ~HasSlots() { DisconnectAll(); }

    /// Called by a signal that connects to this holder.
    void ConnectSignal(SignalBase<Policy>* signal)
    {
        this->Lock();
        m_signals.push_back(signal);
        this->Unlock();
    }
    /// Called by a signal that drops its connections to this holder.
    void DisconnectSignal(SignalBase<Policy>* signal)
    {
        this->Lock();
        m_signals.remove(signal);
        this->Unlock();
    }
    /// Cuts every connection of every signal to this holder.
    void DisconnectAll()
    {
        // The signals are told outside this holder's lock: a signal may be emitting into this holder
        // on another thread, holding its own lock, and the slot may come here.
        std::list<SignalBase<Policy>*> signals;
        this->Lock();
        signals.swap(m_signals);
        this->Unlock();
        for (SignalBase<Policy>* signal : signals) signal->SlotDisconnect(this);
    }

private:
    std::list<SignalBase<Policy>*> Signals() const
    {
        this->Lock();
        std::list<SignalBase<Policy>*> copy = m_signals;
        this->Unlock();
        return copy;
    }

    std::list<SignalBase<Policy>*> m_signals;
};

} // namespace dovo
