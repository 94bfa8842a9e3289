#pragma once

#include <dovo/HasSlots.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace dovo {

/// A signal carrying Args: member functions of slot holders connect to it and are called, in the order
/// they connected, when it is emitted. A slot may disconnect itself or connect others while the signal
/// is emitting; connections made during an emit are first called by the next one.
template <typename Policy, typename... Args>
class Signal : public SignalBase<Policy>
{
public:
    Signal() = default;
    /// A copy has the original's connections.
    Signal(const Signal& other) : SignalBase<Policy>(other)
    {
        other.Lock();
        for (const auto& c : other.m_connections)
            if (c->holder) Add(c->Clone(c->holder));
        other.Unlock();
    }
    Signal& operator=(const Signal& other)
    {
        if (this == &other) return *this;
        DisconnectAll();
        other.Lock();
        for (const auto& c : other.m_connections)
            if (c->holder) Add(c->Clone(c->holder));
        other.Unlock();
        return *this;
    }
    ~Signal() override { DisconnectAll(); }

    /// Connects a member function of a slot holder.
    template <typename Holder>
    void Connect(Holder* holder, void (Holder::*method)(Args...))
    {
        Add(std::unique_ptr<Connection>(new MemberConnection<Holder>(holder, method)));
    }

    /// Drops every connection to the holder.
    void Disconnect(HasSlots<Policy>* holder)
    {
        if (Drop(holder)) holder->DisconnectSignal(this);
    }

    void DisconnectAll()
    {
        std::vector<HasSlots<Policy>*> holders;
        this->Lock();
        for (auto& c : m_connections)
            if (c->holder) holders.push_back(c->holder), c->holder = nullptr;
        Compact();
        this->Unlock();
        for (HasSlots<Policy>* holder : holders) holder->DisconnectSignal(this);
    }

    /// Calls every connected slot in connection order.
    void Emit(Args... args)
    {
        // Signals with nobody connected are the common case (a thread's stage signals, emitted per pass):
        // they cost no lock.
        if (m_size.load(std::memory_order_acquire) == 0) return;
        this->Lock();
        Emitting emitting(*this);
        const std::size_t count = m_connections.size();
        for (std::size_t i = 0; i < count && i < m_connections.size(); ++i) {
            Connection* c = m_connections[i].get();
            if (c->holder) c->Call(args...);
        }
    }
    void operator()(Args... args) { Emit(args...); }

    /// The number of live connections.
    std::size_t Connections() const
    {
        this->Lock();
        std::size_t live = 0;
        for (const auto& c : m_connections) live += c->holder ? 1 : 0;
        this->Unlock();
        return live;
    }

    void SlotDisconnect(HasSlots<Policy>* holder) override { Drop(holder); }

    void SlotDuplicate(const HasSlots<Policy>* original, HasSlots<Policy>* copy) override
    {
        std::vector<std::unique_ptr<Connection>> clones;
        this->Lock();
        for (const auto& c : m_connections)
            if (c->holder == original) clones.push_back(c->Clone(copy));
        this->Unlock();
        for (auto& clone : clones) Add(std::move(clone));
    }

private:
    struct Connection
    {
        explicit Connection(HasSlots<Policy>* h) : holder(h) {}
        virtual ~Connection() = default;
        virtual void Call(Args... args) = 0;
        virtual std::unique_ptr<Connection> Clone(HasSlots<Policy>* newHolder) const = 0;
        HasSlots<Policy>* holder; // null once disconnected
    };

    // The holder is turned back into its own type only when called: a holder's copy is connected
    // while it is still being built.
    template <typename Holder>
    struct MemberConnection : Connection
    {
        MemberConnection(HasSlots<Policy>* holder, void (Holder::*m)(Args...)) : Connection(holder), method(m) {}
        void Call(Args... args) override { (static_cast<Holder*>(this->holder)->*method)(args...); }
        std::unique_ptr<Connection> Clone(HasSlots<Policy>* newHolder) const override
        {
            return std::unique_ptr<Connection>(new MemberConnection(newHolder, method));
        }
        void (Holder::*method)(Args...);
    };

    // Keeps the count of emits in progress; the last one to end removes what was disconnected meanwhile.
    class Emitting
    {
    public:
        explicit Emitting(Signal& s) : m_signal(s) { ++m_signal.m_emitting; }
        ~Emitting()
        {
            --m_signal.m_emitting;
            m_signal.Compact();
            m_signal.Unlock();
        }

    private:
        Signal& m_signal;
    };

    void Add(std::unique_ptr<Connection> c)
    {
        HasSlots<Policy>* holder = c->holder;
        this->Lock();
        m_connections.push_back(std::move(c));
        m_size.store(m_connections.size(), std::memory_order_release);
        this->Unlock();
        holder->ConnectSignal(this);
    }

    // Marks the holder's connections dead; true when there were any.
    bool Drop(HasSlots<Policy>* holder)
    {
        bool found = false;
        this->Lock();
        for (auto& c : m_connections)
            if (c->holder == holder) c->holder = nullptr, found = true;
        Compact();
        this->Unlock();
        return found;
    }

    // Removes dead connections unless an emit walks the list.
    void Compact()
    {
        if (m_emitting) return;
        std::erase_if(m_connections, [](const std::unique_ptr<Connection>& c) { return c->holder == nullptr; });
        m_size.store(m_connections.size(), std::memory_order_release);
    }

    std::vector<std::unique_ptr<Connection>> m_connections;
    std::atomic<std::size_t> m_size{0}; // m_connections.size(), readable without the lock
    int m_emitting = 0;
};

template <typename Policy = ThreadPolicy::LocalThreaded>
using Signal0 = Signal<Policy>;
template <typename A, typename Policy = ThreadPolicy::LocalThreaded>
using Signal1 = Signal<Policy, A>;
template <typename A, typename B, typename Policy = ThreadPolicy::LocalThreaded>
using Signal2 = Signal<Policy, A, B>;

} // namespace dovo
