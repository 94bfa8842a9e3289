// The service words under systemd, without touching the machine's own: the unit folder is the test's,
// and "systemctl" is a script of the test's that records its words and plays the manager.

#include "tests/app/HelperFixture.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// FAKE_SYSTEMD says what "is-system-running" answers; "start" puts FAKE_STARTS_AS (default "active") into
// the state file that "show" reads, "stop" puts "inactive" there.
const char* const kFakeSystemctl = R"(#!/bin/sh
echo "$*" >> "$FAKE_DIR/calls"
case " $* " in
  *" is-system-running "*) echo "${FAKE_SYSTEMD:-running}"; [ "${FAKE_SYSTEMD:-running}" = running ];;
  *" show "*) cat "$FAKE_DIR/state" 2>/dev/null || echo inactive;;
  *" start "*) echo "${FAKE_STARTS_AS:-active}" > "$FAKE_DIR/state";;
  *" stop "*) echo inactive > "$FAKE_DIR/state";;
esac
)";

class Service : public HelperRun
{
protected:
    void SetUp() override
    {
        HelperRun::SetUp();
        fs::create_directories(m_dir / "bin");
        const fs::path script = m_dir / "bin" / "systemctl";
        std::ofstream(script) << kFakeSystemctl;
        fs::permissions(script, fs::perms::owner_all);
    }

    // A service word with the test's manager; more environment on top.
    Child::Options Word(std::vector<std::string> words, std::vector<std::pair<std::string, std::string>> more = {})
    {
        Child::Options options = Case("service", std::move(words));
        options.environment = {{"VARNEL_UNIT_DIR", (m_dir / "units").string()},
                               {"FAKE_DIR", m_dir.string()},
                               {"PATH", (m_dir / "bin").string() + ":" + std::getenv("PATH")}};
        options.environment.insert(options.environment.end(), more.begin(), more.end());
        return options;
    }
    fs::path Unit() const { return m_dir / "units" / "app_helper.service"; }
    std::string Calls() const { return Read(m_dir / "calls"); }
};

// The notify socket a service manager gives its service: the test reads the states from it.
class NotifySocket
{
public:
    explicit NotifySocket(const fs::path& path) : m_path(path.string())
    {
        m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        timeval limit{30, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~NotifySocket() { close(m_fd); }
    // The next message; empty after 30 seconds without one.
    std::string Next()
    {
        char buffer[512];
        const ssize_t got = recv(m_fd, buffer, sizeof buffer, 0);
        return got > 0 ? std::string(buffer, static_cast<std::size_t>(got)) : std::string();
    }
    const std::string& Path() const { return m_path; }

private:
    int m_fd = -1;
    std::string m_path;
};

} // namespace

TEST_F(Service, InstallWritesAUnitWithoutTheAccountSwitchesInItsCommandLine)
{
    Child child(Helper(), Word({"-InstallDaemon", "-Name", "Night", "Render", "-User", "render", "-Description",
                                "Renders", "frames"}));
    ASSERT_EQ(child.Wait(), 0) << child.Errors();
    const std::string unit = Read(Unit());
    EXPECT_TRUE(Has(unit, "Description=Renders frames\n")) << unit;
    EXPECT_TRUE(Has(unit, "User=render\n"));
    EXPECT_TRUE(Has(unit, "Type=notify\n"));
    const std::string exec = "ExecStart=\"" + fs::canonical(Helper()).string() + "\" ";
    ASSERT_TRUE(Has(unit, exec));
    const std::string line = unit.substr(unit.find(exec), unit.find('\n', unit.find(exec)) - unit.find(exec));
    EXPECT_TRUE(Has(line, "-Case service"));
    EXPECT_TRUE(Has(line, " -Service"));
    for (const char* word : {"secret", "Night", "Password", "-Name", "-User"}) EXPECT_FALSE(Has(line, word)) << line;
    EXPECT_TRUE(Has(Calls(), "daemon-reload"));
    EXPECT_TRUE(Has(Calls(), "enable app_helper.service"));
    EXPECT_TRUE(Has(StartupLog(child.Pid()), "Installed app_helper (Night Render) as service:\n\n\""));
    // The run loop never ran, the clean-up did.
    EXPECT_FALSE(child.WaitForLine("started", 0));
    EXPECT_TRUE(child.WaitForLine("stopped", 0));

    // A second installation is refused by the manager.
    Child again(Helper(), Word({"-InstallService"}));
    EXPECT_EQ(again.Wait(), Exit(0x20000006));
    EXPECT_TRUE(Has(again.Errors(), "The executable failed to start."));
}

TEST_F(Service, StartAndStopWaitForTheStateWhenAsked)
{
    ASSERT_EQ(Child(Helper(), Word({"-InstallDaemon"})).Wait(), 0);

    Child start(Helper(), Word({"-StartDaemon", "-Wait", "5"}));
    EXPECT_EQ(start.Wait(), 0) << start.Errors();
    EXPECT_TRUE(Has(Calls(), "start --no-block app_helper.service"));
    EXPECT_TRUE(Has(Calls(), "show --property=ActiveState --value app_helper.service"));

    Child stop(Helper(), Word({"-StopDaemon", "-Wait", "5"}));
    EXPECT_EQ(stop.Wait(), 0) << stop.Errors();
    EXPECT_TRUE(Has(Calls(), "stop --no-block app_helper.service"));

    // A service that stays "activating": the wait runs out with the last state (start-pending).
    Child slow(Helper(), Word({"-StartDaemon", "-Wait", "1"}, {{"FAKE_STARTS_AS", "activating"}}));
    EXPECT_EQ(slow.Wait(), Exit(0x20000009));
    EXPECT_TRUE(Has(Read(m_dir / "app_helper.log") + slow.Errors(), "The executable failed to start."));

    // Without Wait the start request is all: no state is asked for.
    fs::remove(m_dir / "calls");
    Child quick(Helper(), Word({"-StartService"}, {{"FAKE_STARTS_AS", "activating"}}));
    EXPECT_EQ(quick.Wait(), 0);
    EXPECT_FALSE(Has(Calls(), "show"));
}

TEST_F(Service, WithoutAServiceManagerTheWordsFailAtOnce)
{
    ASSERT_EQ(Child(Helper(), Word({"-InstallDaemon"})).Wait(), 0);
    for (const char* word : {"-StartDaemon", "-StopDaemon"}) {
        Child child(Helper(), Word({word, "-Wait", "30"}, {{"FAKE_SYSTEMD", "offline"}}));
        EXPECT_EQ(child.Wait(30), Exit(0x20000008)) << word;
    }
    // No unit folder at all.
    Child missing(Helper(), Word({"-RemoveDaemon"}, {{"VARNEL_UNIT_DIR", (m_dir / "none").string()}}));
    EXPECT_EQ(missing.Wait(), Exit(0x20000008));

    Child remove(Helper(), Word({"-RemoveDaemon"}));
    EXPECT_EQ(remove.Wait(), 0);
    EXPECT_FALSE(fs::exists(Unit()));
    Child again(Helper(), Word({"-RemoveDaemon"}));
    EXPECT_EQ(again.Wait(), Exit(0x20000008));

    // Run as a service without a manager that started it: no notify socket.
    Child orphan(Helper(), Word({"-Service"}, {{"NOTIFY_SOCKET", ""}}));
    EXPECT_EQ(orphan.Wait(30), Exit(0x20000008));
    EXPECT_TRUE(Has(StartupLog(orphan.Pid()), "Could not start service control dispatcher"));
}

TEST_F(Service, RunningAsAServiceReportsItsStatesAndStopsOnTheManagersRequest)
{
    DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME();
    NotifySocket notify(m_dir / "notify");
    Child child(Helper(), Word({"-Service"}, {{"NOTIFY_SOCKET", notify.Path()}}));
    std::vector<std::string> states;
    for (std::string message; (message = notify.Next()) != "READY=1\nSTATUS=Running";) {
        ASSERT_FALSE(message.empty()) << "no READY=1 from the service";
        states.push_back(message);
    }
    EXPECT_EQ(states.front(), "STATUS=Starting");
    ASSERT_TRUE(child.WaitForLine("running"));

    child.Interrupt(6); // systemd stops a service with SIGTERM
    std::string message;
    while ((message = notify.Next()).rfind("STATUS=Stopped", 0) != 0) {
        ASSERT_FALSE(message.empty()) << "no final state from the service";
        states.push_back(message);
    }
    EXPECT_EQ(message, "STATUS=Stopped (exit code 0)");
    EXPECT_EQ(states.back(), "STOPPING=1\nSTATUS=Stopping");
    EXPECT_EQ(child.Wait(), 0);

    EXPECT_TRUE(Has(Log(), "Service control has requested termination")) << Log();
    // What happens before the service's log folder is known goes to the start-up log.
    const std::string startup = StartupLog(child.Pid());
    EXPECT_TRUE(Has(startup, "Storing Serivce commandline:\n\t")) << startup;
    EXPECT_TRUE(Has(startup, "Service started with no custom parameters: Using service commandline:\n\t"));
    EXPECT_TRUE(Has(startup, "Executable starting with Service command line parameters:"));
    // The life cycle ran once, as the service.
    std::vector<std::string> stopped;
    for (const std::string& line : child.OutputLines())
        if (line == "stopped") stopped.push_back(line);
    EXPECT_EQ(stopped.size(), 1u);
}

TEST_F(Service, AServiceIgnoresTheLogOffEvent)
{
    NotifySocket notify(m_dir / "notify");
    Child::Options options = Word({"-Service"}, {{"NOTIFY_SOCKET", notify.Path()}});
    options.arguments[1] = "console-event";
    options.arguments.insert(options.arguments.end(), {"-Event", "5"});
    Child child(Helper(), options);
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_TRUE(child.WaitForLine("execute 20", 0));
    EXPECT_TRUE(child.WaitForLine("event handled", 0));
    EXPECT_FALSE(Has(Log(), "Unhandled interrupt"));
}
