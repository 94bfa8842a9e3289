#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

namespace dovo {

class InStream;
class OutStream;

/// One IPv4 address with the host name it was given or resolved to. Resolution is lazy both ways:
/// name to address when the address is first asked for (Address, AddressAsString), address to name
/// when the name is first asked for (HostName). Every resolution is remembered in a process-wide name
/// cache, so repeated lookups cost nothing.
///
/// The address is held in network byte order; the all-ones word means unresolved (and, as an address,
/// broadcast). Not shared between threads without the owner's locking.
class DOVO_API IPAddress
{
public:
    /// Not valid: no address and no name.
    IPAddress();
    IPAddress(unsigned int address, bool hostOrder);
    /// A host name or a dotted quad ("10.1.2.3"); an empty text names this computer.
    IPAddress(const String& nameOrDottedQuad);
    IPAddress(const char* nameOrDottedQuad) : IPAddress(String(nameOrDottedQuad)) {}
    IPAddress(const IPAddress&) = default;
    virtual ~IPAddress();

    IPAddress& operator=(const IPAddress& other) = default;
    /// An address in network order.
    IPAddress& operator=(unsigned int address);
    IPAddress& operator=(const String& nameOrDottedQuad);

    void SetAddress(const IPAddress& other);
    /// Valid and resolved at once. A non-zero address takes its name from the cache (if there), and
    /// address 0 takes this computer's name.
    void SetAddress(unsigned int address, bool hostOrder);
    /// The name (this computer's for an empty text); the address comes from the cache when it is
    /// there, else later from the resolver.
    void SetAddress(const String& nameOrDottedQuad);

    /// The address, resolving the name first if needed; a name nobody can resolve raises "Lookup
    /// failed for " + name (0x2000000E) once, and the address stays all ones afterwards.
    unsigned int Address(bool hostOrder = false) const;
    /// The name, reverse-resolving the address first if needed. Never raises: an address without a
    /// name gets its dotted quad.
    const String& HostName() const;
    /// "%u.%u.%u.%u" of the resolved address.
    String AddressAsString() const;
    /// True once an address or a name has been set.
    bool IsValidAddress() const { return m_valid; }
    /// True when the address field is trustworthy.
    bool IsResolved() const { return m_resolved; }

    // Comparisons resolve both sides first.
    bool operator==(const IPAddress& other) const { return Address() == other.Address(); }
    bool operator!=(const IPAddress& other) const { return !(*this == other); }
    /// With an address in network order.
    bool operator==(unsigned int address) const { return Address() == address; }
    bool operator!=(unsigned int address) const { return !(*this == address); }
    bool operator<(const IPAddress& other) const;
    /// The i-th byte (0 to 3) of the address in network order.
    unsigned char operator[](int i) const;

    /// Remembers the pair in the name cache unless the name is already there. Nothing is remembered
    /// for the addresses 0 and all ones, for the stored word 0x7F000001, or for an empty name.
    static void Remember(unsigned int address, String name);

    /// All ones, no name, neither valid nor resolved.
    virtual void Reset();

protected:
    /// Forward resolution: the cache, a dotted quad, the resolver, the resolver with ".local".
    void Resolve() const;

    // Lazily filled by Address and HostName, hence mutable.
    mutable unsigned int m_address = 0xFFFFFFFFu;
    mutable String m_name;
    bool m_valid = false;
    mutable bool m_resolved = false;

private:
    // The value format reads and writes the fields as they stand.
    friend class InStream;
    friend class OutStream;
};

/// Empties the process-wide name cache.
DOVO_API void _RFlushNameCache();

} // namespace dovo
