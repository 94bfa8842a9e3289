#include <dovo/Signal.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

std::vector<std::string> g_calls;

template <typename Policy = ThreadPolicy::LocalThreaded>
struct Listener : HasSlots<Policy>
{
    explicit Listener(std::string n) : name(std::move(n)) {}
    void OnValue(int v) { g_calls.push_back(name + ":" + std::to_string(v)); }
    void OnPair(int v, const std::string& s) { g_calls.push_back(name + ":" + std::to_string(v) + s); }
    std::string name;
};

// Slots that edit their own signal while it emits.
struct SelfEditing : HasSlots<ThreadPolicy::SingleThreaded>
{
    Signal1<int, ThreadPolicy::SingleThreaded>* signal = nullptr;
    std::unique_ptr<SelfEditing> late;
    int calls = 0;
    void OnceThenLeave(int) { ++calls, signal->Disconnect(this); }
    void ConnectAnother(int)
    {
        if (++calls == 1) (late = std::make_unique<SelfEditing>()), signal->Connect(late.get(), &SelfEditing::Count);
    }
    void Count(int) { ++calls; }
};

} // namespace

TEST(Signal, EmitsInConnectionOrderAndForgetsDeadHolders)
{
    g_calls.clear();
    Signal1<int> signal;
    Listener<> a("a"), c("c");
    auto b = std::make_unique<Listener<>>("b");
    signal.Connect(&a, &Listener<>::OnValue);
    signal.Connect(b.get(), &Listener<>::OnValue);
    signal.Connect(&c, &Listener<>::OnValue);
    signal.Connect(&a, &Listener<>::OnValue); // twice: called twice
    signal(1);
    b.reset(); // destroyed while connected
    signal.Emit(2);
    signal.Disconnect(&a);
    signal(3);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"a:1", "b:1", "c:1", "a:1", "a:2", "c:2", "a:2", "c:3"}));

    // Copies: a copied signal calls the same holders, a copied holder is called as often as the original is.
    g_calls.clear();
    Signal1<int> copied(signal);
    copied.Connect(&c, &Listener<>::OnValue);
    Listener<> d(c);
    d.name = "d";
    copied(4);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"c:4", "c:4", "d:4", "d:4"}));
    EXPECT_EQ(signal.Connections() * 10 + copied.Connections(), 24u);

    // Signals of other arities; holders outliving a signal are left with nothing to disconnect.
    {
        Signal2<int, const std::string&> pair;
        pair.Connect(&a, &Listener<>::OnPair);
        g_calls.clear();
        pair(5, "x");
        EXPECT_EQ(g_calls, (std::vector<std::string>{"a:5x"}));
    }
    a.DisconnectAll();
}

TEST(Signal, SlotsMayDisconnectThemselvesAndConnectOthersWhileEmitting)
{
    Signal1<int, ThreadPolicy::SingleThreaded> signal;
    SelfEditing leaver, adder;
    leaver.signal = adder.signal = &signal;
    signal.Connect(&leaver, &SelfEditing::OnceThenLeave);
    signal.Connect(&adder, &SelfEditing::ConnectAnother);
    signal(0);
    ASSERT_TRUE(adder.late);
    // Connected during the emit: first called by the next.
    EXPECT_EQ(std::vector<int>({leaver.calls, adder.calls, adder.late->calls}), std::vector<int>({1, 1, 0}));
    signal(0);
    EXPECT_EQ(std::vector<int>({leaver.calls, adder.late->calls}), std::vector<int>({1, 1}));
    EXPECT_EQ(signal.Connections(), 2u);
}

TEST(Signal, HoldersComeAndGoWhileOtherThreadsEmit)
{
    Signal1<int, ThreadPolicy::GlobalThreaded> signal;
    struct Counter : HasSlots<ThreadPolicy::GlobalThreaded>
    {
        std::atomic<int> calls{0};
        void On(int) { ++calls; }
        ~Counter() override { DisconnectAll(); }
    };
    Counter steady;
    signal.Connect(&steady, &Counter::On);
    std::atomic<bool> stop{false};
    std::thread emitter([&] {
        int emits = 0;
        while (!stop || emits < 1000) signal(emits++);
    });
    for (int i = 0; i < 500; ++i) {
        Counter passing;
        signal.Connect(&passing, &Counter::On);
    }
    stop = true;
    emitter.join();
    EXPECT_GE(steady.calls, 1000);
    EXPECT_EQ(signal.Connections(), 1u);
}
