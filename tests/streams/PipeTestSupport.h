#pragma once

// What the pipe tests share: the global log to look into, names of their own, clients that retry
// while no instance is free, and a listener that keeps what it receives.

#include <dovo/Exception.h>
#include <dovo/Log.h>
#include <dovo/NamedPipe.h>
#include <dovo/NamedPipeServerThread.h>

#include "support/Checks.h"
#include "support/TestSupport.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pipetest {

using namespace dovo;

inline void LogStarted() { Log::LogStartup(Info, Excessive); }

/// How often the global log holds the text.
inline int InLog(const std::string& part)
{
    std::FILE* f = std::tmpfile();
    Log::s_GlobalLog->_SaveToFile(f, Excessive, false);
    std::rewind(f);
    std::string text;
    for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
    std::fclose(f);
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// Waits (boundedly, a minute) until the log holds the text.
inline bool LogGets(const std::string& part)
{
    for (int i = 0; i < 6000 && !InLog(part); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return InLog(part) > 0;
}

/// A pipe name no other test (or test run) uses.
inline std::string UniqueName(const std::string& what)
{
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    return "PipeTest/" + std::string(test->name()) + "/" + what + "/" + std::to_string(OsProcessId());
}

/// Connects, trying again while no instance is free (at most a minute); false on any other failure.
inline bool Connect(NamedPipe& client)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (;;) {
        try {
            client.BeginUsing();
            return true;
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            if (!e->Message().StartsWith("Named pipe not available: ") || std::chrono::steady_clock::now() > limit)
                return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Sends one message as one client: connects, writes all of the text, closes. false when it could not.
inline bool Send(const Path& name, const std::string& text)
{
    NamedPipe client(name);
    return Connect(client) &&
           Thrown([&] {
               client.Write(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
           }) == "nothing thrown";
}

/// A server thread that keeps its messages ("throw" throws instead).
class Listener : public NamedPipeServerThread
{
public:
    explicit Listener(const Path& name) : NamedPipeServerThread(name) {}
    ~Listener() override
    {
        Signal(0);
        WaitFor();
    }
    /// Starts and waits until it listens.
    bool Listen()
    {
        Start();
        return WaitForStartup(0) && IsListening();
    }
    /// Waits (boundedly, two minutes) until count messages have come.
    bool WaitForMessages(std::size_t count)
    {
        std::unique_lock<std::mutex> hold(m_lock);
        return m_came.wait_for(hold, std::chrono::minutes(2), [&] { return m_messages.size() >= count; });
    }
    std::vector<std::string> Messages()
    {
        std::lock_guard<std::mutex> hold(m_lock);
        return m_messages;
    }

protected:
    void OnMessage(const String& message) override
    {
        if (message == "throw") Exception::Throw("Listener", "OnMessage", 1, "thrown by OnMessage", 0, "", 3);
        {
            std::lock_guard<std::mutex> hold(m_lock);
            m_messages.push_back(message.str());
        }
        m_came.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_came;
    std::vector<std::string> m_messages;
};

} // namespace pipetest
