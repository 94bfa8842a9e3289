// The service words under systemd, without touching the machine's own: the unit folder is the test's,
// and "systemctl" is a script of the test's that records its words and plays the manager.

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

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
        std::ofstream(m_dir / "bin" / "systemctl") << kFakeSystemctl;
        fs::permissions(m_dir / "bin" / "systemctl", fs::perms::owner_all);
    }
    // The helper with service words, the test's manager and more environment.
    Child Word(const std::vector<std::string>& words, Child::Environment more = {}) const
    {
        more.insert(more.begin(), {{"VARNEL_UNIT_DIR", (m_dir / "units").string()},
                                   {"FAKE_DIR", m_dir.string()},
                                   {"PATH", (m_dir / "bin").string() + ":" + std::getenv("PATH")}});
        return Run("service", words, more);
    }
    std::string Unit() const { return Read(m_dir / "units" / "app_helper.service"); }
    std::string Calls() const { return Read(m_dir / "calls"); }
};

// The notify socket a service manager gives its service: the test reads the states from it.
class NotifySocket
{
public:
    explicit NotifySocket(const fs::path& path) : m_path(path.string())
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        timeval limit{30, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~NotifySocket() { close(m_fd); }
    // The messages up to and including the first that begins with last; stops at 30 seconds of silence.
    std::vector<std::string> Until(const std::string& last)
    {
        std::vector<std::string> messages;
        char buffer[512];
        for (ssize_t got; (got = recv(m_fd, buffer, sizeof buffer, 0)) > 0;) {
            messages.emplace_back(buffer, static_cast<std::size_t>(got));
            if (messages.back().rfind(last, 0) == 0) break;
        }
        return messages;
    }
    Child::Environment Environment() const { return {{"NOTIFY_SOCKET", m_path}}; }

private:
    int m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::string m_path;
};

} // namespace

TEST_F(Service, InstallWritesAUnitWithoutTheAccountSwitchesInItsCommandLine)
{
    // The description, or the display name when there is none.
    for (const bool described : {false, true}) {
        fs::remove_all(m_dir / "units");
        std::vector<std::string> words = {"-InstallDaemon", "-Name", "Night", "Render", "-User", "render"};
        if (described) words.insert(words.end(), {"-Description", "Renders", "100%", "frames"});
        Child child = Word(words);
        ASSERT_EQ(child.Wait(), 0) << child.Errors();
        const std::string unit = Unit();
        for (const std::string& line :
             Strings{described ? "Description=Renders 100%% frames" : "Description=Night Render", "User=render",
                     "Type=notify", "WorkingDirectory=" + fs::canonical(DOVO_APP_HELPER).parent_path().string()})
            EXPECT_TRUE(Has(unit, "\n" + line + "\n")) << line << " not in\n" << unit;
        const std::string exec = "ExecStart=\"" + fs::canonical(DOVO_APP_HELPER).string() + "\" ";
        ASSERT_TRUE(Has(unit, exec));
        const std::string line = unit.substr(unit.find(exec), unit.find('\n', unit.find(exec)) - unit.find(exec));
        EXPECT_TRUE(Has(line, "-Case service") && Has(line, " -Service"));
        for (const char* word : {"Night", "Renders", "-Name", "-User", "-Description"})
            EXPECT_FALSE(Has(line, word)) << line;
        EXPECT_TRUE(Has(Calls(), "daemon-reload") && Has(Calls(), "enable app_helper.service"));
        EXPECT_TRUE(Has(StartupLog(child.Pid()), "Installed app_helper (Night Render) as service:\n\n\""));
        // The run loop never ran, the clean-up did.
        EXPECT_FALSE(child.WaitForLine("started", 0));
        EXPECT_TRUE(child.WaitForLine("stopped", 0));
    }
}

TEST_F(Service, TheWordsWithAndWithoutAManager)
{
    ASSERT_EQ(Word({"-InstallDaemon"}).Wait(), 0);
    // Each row: the words, a change of the environment, the exit code, what the manager was asked ("!":
    // was not asked) and what the start-up log holds.
    const struct
    {
        std::string words;
        Child::Environment environment;
        int code;
        std::string asked, logged;
    } rows[] = {
        // A second installation is refused by the manager; a password, by the library (systemd has none).
        {"-InstallService", {}, 0x20000006, "", "Could not create new service"},
        {"-InstallDaemon -User render -Password secret", {}, 0x20000006, "", "A password cannot be given"},
        {"-StartDaemon -Wait 5", {}, 0, "start --no-block app_helper.service", ""},
        {"-StopDaemon -Wait 5", {}, 0, "stop --no-block app_helper.service", ""},
        // A service that stays "activating": the wait runs out. Without Wait, no state is asked for.
        {"-StartDaemon -Wait 1", {{"FAKE_STARTS_AS", "activating"}}, 0x20000009, "show", ""},
        {"-StartService", {{"FAKE_STARTS_AS", "activating"}}, 0, "!show", ""},
        {"-StartDaemon -Wait 30", {{"FAKE_SYSTEMD", "offline"}}, 0x20000008, "!start", ""},
        {"-StopDaemon -Wait 30", {{"FAKE_SYSTEMD", "offline"}}, 0x20000008, "!stop", ""},
        {"-RemoveDaemon", {}, 0, "disable app_helper.service", ""},
        {"-RemoveDaemon", {}, 0x20000008, "!disable", ""},
        // Run as a service without a manager that started it: no notify socket.
        {"-Service", {{"NOTIFY_SOCKET", ""}}, 0x20000008, "", "Could not start service control dispatcher"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words + " " + (row.environment.empty() ? "" : row.environment[0].second));
        fs::remove(m_dir / "calls");
        Child child = Word(Split(row.words, ' '), row.environment);
        EXPECT_EQ(child.Wait(), Exit(row.code)) << child.Errors();
        const bool negated = Has(row.asked, "!");
        EXPECT_EQ(Has(Calls(), row.asked.substr(negated)), !negated) << Calls();
        EXPECT_EQ(Has(child.Errors(), "The executable failed to start."), row.code != 0);
        EXPECT_TRUE(Has(StartupLog(child.Pid()), row.logged));
    }
    EXPECT_FALSE(fs::exists(m_dir / "units" / "app_helper.service"));
}

TEST_F(Service, RunningAsAServiceReportsItsStatesAndStopsOnTheManagersRequest)
{
    DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME();
    NotifySocket notify(m_dir / "notify");
    Child child = Word({"-Service"}, notify.Environment());
    EXPECT_EQ(notify.Until("READY=1"), (std::vector<std::string>{"STATUS=Starting", "READY=1\nSTATUS=Running"}));
    ASSERT_TRUE(child.WaitForLine("running"));
    child.Interrupt(6); // systemd stops a service with SIGTERM
    const auto states = notify.Until("STATUS=Stopped");
    ASSERT_GE(states.size(), 2u);
    EXPECT_EQ(states[states.size() - 2], "STOPPING=1\nSTATUS=Stopping");
    EXPECT_EQ(states.back(), "STATUS=Stopped (exit code 0)");
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_TRUE(Has(Log(), "Service control has requested termination")) << Log();
    // What happens before the service's log folder is known goes to the start-up log.
    const std::string startup = StartupLog(child.Pid());
    for (const char* text : {"Storing Serivce commandline:\n\t",
                             "Service started with no custom parameters: Using service commandline:\n\t",
                             "Executable starting with Service command line parameters:"})
        EXPECT_TRUE(Has(startup, text)) << text << "\nnot in\n" << startup;
    // The life cycle ran once, as the service.
    const auto lines = child.OutputLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "stopped"), 1);
}

TEST_F(Service, AServiceIgnoresTheLogOffEvent)
{
    NotifySocket notify(m_dir / "notify");
    Child child = Run("console-event", {"-Service", "-Event", "5"}, notify.Environment());
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_TRUE(child.WaitForLine("execute 20", 0));
    EXPECT_TRUE(child.WaitForLine("event handled", 0));
    EXPECT_FALSE(Has(Log(), "Unhandled interrupt"));
}
