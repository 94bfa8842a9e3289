// IPAddress: lazy resolution both ways, and the process-wide name cache behind it.

#include <dovo/Exception.h>
#include <dovo/IPAddress.h>
#include <dovo/LibStatic.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>
#include <dovo/RWLock.h>

#include "net/NativeSocket.h"

#include <atomic>
#include <cstring>
#include <map>

namespace dovo {

namespace {

constexpr int ErrorLookup = 0x2000000E;
constexpr unsigned kNone = 0xFFFFFFFFu;

std::atomic<bool (*)(const String&, std::uint32_t&, int&)> g_forward{sockets::LookupName};
std::atomic<bool (*)(std::uint32_t, String&, int&)> g_reverse{sockets::LookupAddress};

// The four bytes of a network-order word in the order they travel.
void Bytes(unsigned address, unsigned char out[4]) { std::memcpy(out, &address, 4); }

String DottedQuad(unsigned address)
{
    unsigned char b[4];
    Bytes(address, b);
    return SFormat("%u.%u.%u.%u", b[0], b[1], b[2], b[3]);
}

// "a.b.c.d" with four decimal parts of 0 to 255; the network-order word.
bool ParseDottedQuad(const String& text, unsigned& address)
{
    unsigned char b[4];
    const char* p = text.c_str();
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && *p++ != '.') return false;
        unsigned value = 0;
        int digits = 0;
        for (; *p >= '0' && *p <= '9' && digits < 4; ++p, ++digits)
            value = value * 10 + static_cast<unsigned>(*p - '0');
        if (digits == 0 || digits > 3 || value > 255) return false;
        b[i] = static_cast<unsigned char>(value);
    }
    if (*p) return false;
    std::memcpy(&address, b, 4);
    return true;
}

// Two maps, address -> name and name -> address, under one reader/writer lock. The cache answers and
// remembers only while the library has it started; log lines are written after the lock is released.
class NameCache : public LibStatic
{
public:
    NameCache() : LibStatic("NameCache") {}

    void OnLibCleanup() override { Flush(); }

    bool FindName(unsigned address, String& name)
    {
        if (!IsLibStarted()) return false;
        Held read(m_lock, false);
        const auto found = m_names.find(address);
        if (found == m_names.end()) return false;
        name = found->second;
        return true;
    }

    bool FindAddress(const String& name, unsigned& address)
    {
        if (!IsLibStarted()) return false;
        Held read(m_lock, false);
        const auto found = m_addresses.find(name);
        if (found == m_addresses.end()) return false;
        address = found->second;
        return true;
    }

    void Remember(unsigned address, const String& name)
    {
        // The test is made on the stored word as it is: on a little-endian machine it skips 1.0.0.127
        // and caches 127.0.0.1. Kept so on purpose.
        if (!IsLibStarted() || address == 0 || address == kNone || address == 0x7F000001u) return;
        if (name.Empty()) {
            LogDebug("Not saving empty name for address " + DottedQuad(address));
            return;
        }
        {
            Held write(m_lock, true);
            if (m_addresses.count(name)) return;
            m_addresses[name] = address;
            m_names[address] = name;
        }
        LogDebug("Saving host " + name + " = " + DottedQuad(address));
    }

    void Flush()
    {
        Held write(m_lock, true);
        m_names.clear();
        m_addresses.clear();
    }

private:
    class Held
    {
    public:
        Held(RWLock& lock, bool write) : m_lock(lock) { write ? lock.GetWriteLock() : lock.GetReadLock(); }
        ~Held() { m_lock.Unlock(); }
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;

    private:
        RWLock& m_lock;
    };

    RWLock m_lock;
    std::map<unsigned, String> m_names;
    std::map<String, unsigned> m_addresses;
};

// Made as the library loads (so that the library's start-up finds it registered) and never destroyed:
// names may still be asked for while the process's statics are being destroyed.
NameCache& g_cache = *new NameCache;

} // namespace

namespace resolver {
Functions Use(Functions functions)
{
    return {g_forward.exchange(functions.forward), g_reverse.exchange(functions.reverse)};
}
} // namespace resolver

IPAddress::IPAddress() = default;

IPAddress::IPAddress(unsigned int address, bool hostOrder) { SetAddress(address, hostOrder); }

IPAddress::IPAddress(const String& nameOrDottedQuad) { SetAddress(nameOrDottedQuad); }

IPAddress::~IPAddress() = default;

IPAddress& IPAddress::operator=(unsigned int address)
{
    SetAddress(address, false);
    return *this;
}

IPAddress& IPAddress::operator=(const String& nameOrDottedQuad)
{
    SetAddress(nameOrDottedQuad);
    return *this;
}

void IPAddress::SetAddress(const IPAddress& other)
{
    m_address = other.m_address;
    m_name = other.m_name;
    m_valid = other.m_valid;
    m_resolved = other.m_resolved;
}

void IPAddress::SetAddress(unsigned int address, bool hostOrder)
{
    m_valid = m_resolved = true;
    m_address = hostOrder ? sockets::Swap32(address) : address;
    m_name.Clear();
    if (m_address == 0) m_name = Platform::ComputerName();
    else g_cache.FindName(m_address, m_name);
}

void IPAddress::SetAddress(const String& nameOrDottedQuad)
{
    // Only the address part: a peer keeps its port.
    IPAddress::Reset();
    m_valid = true;
    m_name = nameOrDottedQuad.Empty() ? Platform::ComputerName() : nameOrDottedQuad;
    unsigned address = 0;
    if (g_cache.FindAddress(m_name, address)) m_address = address, m_resolved = true;
}

void IPAddress::Reset()
{
    m_address = kNone;
    m_name.Clear();
    m_valid = m_resolved = false;
}

unsigned int IPAddress::Address(bool hostOrder) const
{
    if (!m_resolved && !m_name.Empty()) Resolve();
    return hostOrder ? sockets::Swap32(m_address) : m_address;
}

void IPAddress::Resolve() const
{
    unsigned address = 0;
    if (g_cache.FindAddress(m_name, address)) {
        m_address = address, m_resolved = true;
        return;
    }
    if (ParseDottedQuad(m_name, address)) {
        // The name is filled in by reverse resolution when it is asked for.
        m_address = address, m_resolved = true;
        m_name.Clear();
        return;
    }
    int error = 0;
    bool found = g_forward.load()(m_name, address, error);
    // Names on the local link resolve only in their ".local" form.
    if (!found && !m_name.Contains(".")) found = g_forward.load()(m_name + ".local", address, error);
    m_resolved = true; // a failed lookup is not repeated
    if (!found)
        Exception::Throw("IPAddress", "Address", ErrorLookup, "Lookup failed for " + m_name, error,
                         error ? sockets::ErrorText(error) : String(), 1);
    m_address = address;
    g_cache.Remember(address, m_name);
}

const String& IPAddress::HostName() const
{
    if (!m_name.Empty() || !m_resolved) return m_name;
    if (g_cache.FindName(m_address, m_name)) return m_name;
    if (m_address == 0) m_name = Platform::ComputerName();
    else if (m_address == kNone) m_name = "Broadcast";
    else {
        int error = 0;
        if (!g_reverse.load()(m_address, m_name, error)) {
            unsigned char b[4];
            Bytes(m_address, b);
            m_name = SFormat("%d.%d.%d.%d", b[0], b[1], b[2], b[3]);
            LogWarning("HostName failed to determine host for '" + m_name + SFormat("': error %d\n\t", error) +
                       sockets::ErrorText(error));
        }
    }
    g_cache.Remember(m_address, m_name);
    return m_name;
}

String IPAddress::AddressAsString() const { return DottedQuad(Address()); }

bool IPAddress::operator<(const IPAddress& other) const { return Address(true) < other.Address(true); }

unsigned char IPAddress::operator[](int i) const
{
    unsigned char b[4];
    Bytes(Address(), b);
    return i >= 0 && i < 4 ? b[i] : 0;
}

void IPAddress::Remember(unsigned int address, String name) { g_cache.Remember(address, name); }

void _RFlushNameCache() { g_cache.Flush(); }

} // namespace dovo
