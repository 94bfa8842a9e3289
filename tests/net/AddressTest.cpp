#include <dovo/Exception.h>
#include <dovo/IPAddress.h>
#include <dovo/IPPeer.h>
#include <dovo/Platform.h>
#include <dovo/SocketException.h>

#include "net/NetTest.h"
#include "support/Checks.h"

#include <memory>

using namespace dovo;

namespace {

// The socket layer and the library statics (the name cache among them) for the whole program.
class NetEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        SocketAccess::Startup();
        LibStaticAccess::Startup(m_commandLine);
    }
    void TearDown() override
    {
        LibStaticAccess::Cleanup();
        SocketAccess::Cleanup();
    }

private:
    CommandLine m_commandLine;
};
const auto* const g_environment = ::testing::AddGlobalTestEnvironment(new NetEnvironment);

using AddressTest = WithFakeResolver;

TEST_F(AddressTest, DottedQuadsNeedNoResolver)
{
    // A dotted quad formats back to itself without touching the resolver; anything that is not exactly
    // four parts of 0 to 255 is a name and goes to the resolver, which does not know it.
    for (const char* text : {"10.1.2.3", "0.0.0.1", "255.255.255.254", "192.168.100.200"}) {
        IPAddress address(text);
        EXPECT_FALSE(address.IsResolved()) << text; // lazy
        EXPECT_EQ(address.AddressAsString(), text);
        EXPECT_TRUE(FakeResolver::asked.empty()) << text;
    }
    IPAddress parts("10.1.2.3");
    EXPECT_EQ(parts.Address(true), 0x0A010203u);
    EXPECT_EQ(Joined(+parts[0], +parts[1], +parts[2], +parts[3], +parts[4]), "10|1|2|3|0");
    for (const char* text : {"10.1.2", "10.1.2.256", "1.2.3.4.5", "1..2.3", "1.2.3.4 "}) {
        FakeResolver::asked.clear();
        EXPECT_EQ(Thrown([&] { IPAddress(text).Address(); }),
                  "IPAddress|Address|0x2000000E|11001|1|Lookup failed for " + std::string(text));
        EXPECT_EQ(FakeResolver::asked, Strings{text}) << "a name with a dot is not retried";
    }
}

TEST_F(AddressTest, ForwardLookupTriesLocalOnceForABareName)
{
    FakeResolver::names["render7.local"] = Net(192, 168, 1, 7);
    IPAddress found("render7");
    EXPECT_EQ(found.AddressAsString(), "192.168.1.7");
    EXPECT_EQ(FakeResolver::asked, (Strings{"render7", "render7.local"}));
    // The pair is cached under the name as given: a new address of that name is resolved at once.
    IPAddress again("render7");
    EXPECT_TRUE(again.IsResolved());
    EXPECT_EQ(again.Address(), Net(192, 168, 1, 7));
    EXPECT_EQ(IPAddress(Net(192, 168, 1, 7), false).HostName(), "render7");
    EXPECT_EQ(FakeResolver::asked.size(), 2u);

    // A name nobody knows fails once; the failed lookup is not repeated.
    IPAddress unknown("nowhere");
    std::unique_ptr<Exception> e;
    EXPECT_EQ(Thrown([&] { unknown.Address(); }, &e), "IPAddress|Address|0x2000000E|11001|1|Lookup failed for nowhere");
    EXPECT_EQ(unknown.Address(), 0xFFFFFFFFu);
    EXPECT_EQ(FakeResolver::asked, (Strings{"render7", "render7.local", "nowhere", "nowhere.local"}));
}

TEST_F(AddressTest, ReverseLookupFallsBackAndNeverThrows)
{
    FakeResolver::addresses[Net(10, 0, 0, 9)] = "farm9";
    const struct
    {
        unsigned address;
        std::string name;
        bool asksResolver;
    } rows[] = {
        {0xFFFFFFFFu, "Broadcast", false},
        {0, Platform::ComputerName().str(), false},
        {Net(10, 0, 0, 9), "farm9", true},
        {Net(10, 0, 0, 10), "10.0.0.10", true}, // unknown: the dotted quad, and a warning
    };
    for (const auto& row : rows) {
        FakeResolver::asked.clear();
        IPAddress address;
        address.SetAddress(row.address, false);
        EXPECT_EQ(address.HostName(), row.name);
        EXPECT_EQ(FakeResolver::asked.size(), row.asksResolver ? 1u : 0u) << row.name;
    }
    // Every answer was remembered, the fallback too: asking again costs nothing.
    FakeResolver::asked.clear();
    EXPECT_EQ(IPAddress(Net(10, 0, 0, 9), false).HostName(), "farm9");
    EXPECT_EQ(IPAddress(Net(10, 0, 0, 10), false).HostName(), "10.0.0.10");
    EXPECT_TRUE(FakeResolver::asked.empty());
}

TEST_F(AddressTest, RememberSkipsWhatCannotBeLookedUp)
{
    // Whether a remembered pair answers later, in both directions, without the resolver.
    const auto cached = [](unsigned address, const std::string& name) {
        const bool byName = IPAddress(name).IsResolved() && IPAddress(name).Address() == address;
        IPAddress byAddress(address, false);
        return byName && byAddress.HostName() == name;
    };
    const struct
    {
        unsigned address;
        std::string name;
        bool kept;
    } rows[] = {
        {Net(10, 2, 3, 4), "", false},
        {0, "zero", false},
        {0xFFFFFFFFu, "ones", false},
        {0x7F000001u, "stored-word", false}, // the word as stored: 1.0.0.127 on a little-endian machine
        {Net(127, 0, 0, 1), "loopback", sockets::Swap32(0x7F000001u) != 0x7F000001u},
        {Net(10, 2, 3, 5), "kept", true},
    };
    for (const auto& row : rows) {
        IPAddress::Remember(row.address, row.name);
        if (!row.name.empty()) {
            EXPECT_EQ(cached(row.address, row.name), row.kept) << row.name;
        }
    }
    FakeResolver::asked.clear();
    EXPECT_EQ(IPAddress(Net(10, 2, 3, 4), false).HostName(), "10.2.3.4"); // the empty name was not kept

    // A name already cached keeps its address; a flush forgets everything.
    IPAddress::Remember(Net(10, 2, 3, 6), "kept");
    EXPECT_EQ(IPAddress("kept").Address(), Net(10, 2, 3, 5));
    _RFlushNameCache();
    EXPECT_FALSE(IPAddress("kept").IsResolved());

    // Only a started cache answers or remembers.
    LibStaticAccess::Cleanup();
    IPAddress::Remember(Net(10, 2, 3, 7), "stopped");
    CommandLine commandLine;
    LibStaticAccess::Startup(commandLine);
    EXPECT_FALSE(IPAddress("stopped").IsResolved());
}

TEST_F(AddressTest, PeersFromTextAndAsText)
{
    // Set(String) with a port of 77 before: "host:" gives 0, a bare host keeps the port.
    const std::pair<const char*, std::string> rows[] = {
        {"render7:", "render7:0"},
        {"render7", "render7:77"},
        {"render7:8080", "render7:8080"},
        {"10.1.2.3:99", "10.1.2.3:99"},
    };
    for (const auto& [text, shown] : rows) {
        IPPeer peer(IPAddress(Net(1, 2, 3, 4), false), 77, true);
        peer.Set(String(text));
        EXPECT_EQ(peer.PeerAsString(), shown) << text;
    }
    EXPECT_EQ(IPPeer().PeerAsString(), "Invalid Peer");
    EXPECT_EQ(IPPeer(Net(10, 1, 2, 3), 80, false).PeerAsString(), "10.1.2.3:20480"); // the port as given
    EXPECT_EQ(IPPeer(0x0A010203u, 80, true).PeerAsString(), "10.1.2.3:80");
    EXPECT_EQ(IPPeer(0u, 80, true).PeerAsString(), Platform::ComputerName() + ":80");
    IPPeer portOnly;
    portOnly.SetPort(5, true);
    EXPECT_TRUE(portOnly.IsValidAddress());

    // Through a socket address and back; ordered by address, then port.
    IPPeer original(0x0A010203u, 4000, true);
    alignas(8) unsigned char storage[16];
    auto* native = reinterpret_cast<sockaddr*>(storage);
    const IPPeer copy(*original.ToSockAddr(native));
    EXPECT_EQ(Joined(copy.AddressAsString().str(), copy.Port(true), copy == original), "10.1.2.3|4000|1");
    EXPECT_TRUE(IPPeer(0x0A010203u, 3999, true) < original);
    EXPECT_TRUE(original < IPPeer(0x0A010204u, 1, true));
    EXPECT_TRUE(FakeResolver::asked.empty());
}

TEST(SystemResolver, AnswersForThisMachine)
{
    // Names this machine resolves itself, so that no lookup waits on the network.
    _RFlushNameCache();
    IPAddress local("localhost");
    EXPECT_EQ(local.Address(true) >> 24, 127u);
    IPAddress back(local.Address(), false);
    EXPECT_FALSE(back.HostName().Empty());
    // Both answers were remembered.
    EXPECT_TRUE(IPAddress("localhost").IsResolved());
}

TEST_F(AddressTest, SocketExceptionShowsThePeer)
{
    std::unique_ptr<Exception> e;
    Thrown(
        [] {
            SocketException::Throw(IPPeer(0x0A010203u, 80, true), "Socket", "Read", 0x2000000A, "recv failed", 1, 0);
        },
        &e);
    auto* socket = dynamic_cast<SocketException*>(e.get());
    ASSERT_TRUE(socket);
    EXPECT_EQ(socket->Peer().Port(true), 80);
    EXPECT_TRUE(socket->DisplayAsString().EndsWith("\n\tConnected to: 10.1.2.3:80\n"));
    EXPECT_TRUE(socket->DisplayAsHtml().Contains("<tr><td colspan=2>Connected to <b>10.1.2.3:80</b></td></tr>\r\n"));
}

} // namespace
