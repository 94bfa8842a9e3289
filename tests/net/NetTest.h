#pragma once

// What the network tests share: the socket layer and the name cache started for the whole program (as
// the application object and the library's start-up would), and a resolver of the tests' own in place
// of the system's while a test needs one.

#include <dovo/CommandLine.h>
#include <dovo/Socket.h>

#include "net/NativeSocket.h"
#include "support/LibStaticAccess.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace dovo {
struct SocketAccess
{
    static void Startup() { Socket::SocketStartup(); }
    static void Cleanup() { Socket::SocketCleanup(); }
};
} // namespace dovo

using Strings = std::vector<std::string>;

/// A resolver that knows only its table and records every name and address it is asked for.
struct FakeResolver
{
    static inline std::map<std::string, std::uint32_t> names;     // name -> network-order address
    static inline std::map<std::uint32_t, std::string> addresses; // network-order address -> name
    static inline std::vector<std::string> asked;

    static bool Forward(const dovo::String& name, std::uint32_t& address, int& error)
    {
        asked.push_back(name.str());
        const auto found = names.find(name.str());
        if (found == names.end()) return error = 11001, false;
        address = found->second;
        return true;
    }
    static bool Reverse(std::uint32_t address, dovo::String& name, int& error)
    {
        asked.push_back(dovo::SFormat("#%08x", address).str());
        const auto found = addresses.find(address);
        if (found == addresses.end()) return error = 11004, false;
        name = found->second;
        return true;
    }
};

/// Each test starts with an empty cache and the fake resolver, and gets the system's back afterwards.
class WithFakeResolver : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dovo::_RFlushNameCache();
        FakeResolver::names.clear();
        FakeResolver::addresses.clear();
        FakeResolver::asked.clear();
        m_saved = dovo::resolver::Use({FakeResolver::Forward, FakeResolver::Reverse});
    }
    void TearDown() override { dovo::resolver::Use(m_saved); }

private:
    dovo::resolver::Functions m_saved{};
};

/// A network-order word from its dotted parts.
inline std::uint32_t Net(unsigned a, unsigned b, unsigned c, unsigned d)
{
    return dovo::sockets::Swap32(a << 24 | b << 16 | c << 8 | d);
}
