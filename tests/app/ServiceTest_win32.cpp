// The service words with the service control manager: install, start, run as a service, stop and
// remove the helper program, in the build's own Wine prefix (never on a real machine's configuration).

#include "tests/support/TestSupport.h"

#include "core/Win32Support.h"

#include <chrono>
#include <thread>

namespace fs = std::filesystem;

namespace {

const char* const kName = "app_helper";

// The service as the manager holds it, read with the manager's own calls.
class Registered
{
public:
    Registered()
        : m_manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)),
          m_service(m_manager ? OpenServiceA(m_manager, kName, SERVICE_ALL_ACCESS) : nullptr)
    {
    }
    ~Registered()
    {
        if (m_service) CloseServiceHandle(m_service);
        if (m_manager) CloseServiceHandle(m_manager);
    }
    bool Exists() const { return m_service != nullptr; }
    SC_HANDLE Handle() const { return m_service; }
    // The image path and the display name.
    std::pair<std::string, std::string> Config() const
    {
        std::vector<char> buffer(8192);
        auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer.data());
        DWORD needed = 0;
        if (!QueryServiceConfigA(m_service, config, static_cast<DWORD>(buffer.size()), &needed)) return {};
        return {config->lpBinaryPathName, config->lpDisplayName};
    }
    DWORD State() const
    {
        SERVICE_STATUS status{};
        return QueryServiceStatus(m_service, &status) ? status.dwCurrentState : 0;
    }
    // Waits until the service is in the state; false after 60 seconds.
    bool AwaitState(DWORD state) const
    {
        for (int poll = 0; poll < 600 && State() != state; ++poll)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return State() == state;
    }
    void Delete()
    {
        if (!m_service) return;
        SERVICE_STATUS status{};
        ControlService(m_service, SERVICE_CONTROL_STOP, &status);
        AwaitState(SERVICE_STOPPED);
        DeleteService(m_service);
    }

private:
    SC_HANDLE m_manager, m_service;
};

class Service : public HelperRun
{
protected:
    // What an interrupted earlier run may have left, and what this one leaves.
    void SetUp() override { HelperRun::SetUp(), Registered().Delete(); }
    void TearDown() override { Registered().Delete(), HelperRun::TearDown(); }
    Child Word(const std::vector<std::string>& words) const { return Run("service", words); }
};

} // namespace

TEST_F(Service, TheWholeCycleThroughTheServiceControlManager)
{
    // Install: the account switches stay out of the stored command line.
    Child install = Word(
        {"-InstallService", "-Name", "Night", "Render", "-Password", "secret", "-Description", "Renders", "frames"});
    ASSERT_EQ(install.Wait(), 0) << install.Errors();
    const auto [image, displayName] = Registered().Config();
    EXPECT_EQ(displayName, "Night Render");
    EXPECT_EQ(image.rfind("\"", 0), 0u) << image;
    for (const char* word : {"app_helper.exe\" ", "-Case service", " -Service"}) EXPECT_TRUE(Has(image, word)) << image;
    for (const char* word : {"secret", "Night", "-Password", "-Name"}) EXPECT_FALSE(Has(image, word)) << image;
    EXPECT_TRUE(Has(StartupLog(install.Pid()), "Installed app_helper (Night Render) as service:\n\n\""));
    EXPECT_EQ(Word({"-InstallService"}).Wait(), 0x20000006);

    // Start and wait: the service runs the helper's run loop until it is stopped.
    Child start = Word({"-StartService", "-Wait", "60"});
    ASSERT_EQ(start.Wait(120), 0) << start.Errors();
    EXPECT_EQ(Registered().State(), static_cast<DWORD>(SERVICE_RUNNING));
    Child stop = Word({"-StopService", "-Wait", "60"});
    ASSERT_EQ(stop.Wait(120), 0) << stop.Errors();
    EXPECT_EQ(Registered().State(), static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_TRUE(Has(Log(), "Service control has requested termination")) << Log();
    EXPECT_TRUE(Has(Log(), "app_helper Shut down"));

    // Started with parameters of its own: those are used in place of the stored command line. They
    // make it give itself a log-off event, which a service ignores, and stop after 20 passes.
    fs::create_directories(m_dir / "custom");
    {
        Registered service;
        const std::string folder = Native(m_dir / "custom");
        const char* arguments[] = {kName, "-Case", "console-event", "-Event", "5", "-LogFolder", folder.c_str()};
        ASSERT_TRUE(::StartServiceA(service.Handle(), 7, arguments));
        ASSERT_TRUE(service.AwaitState(SERVICE_STOPPED));
    }
    const std::string custom = Read(m_dir / "custom" / "app_helper.log");
    EXPECT_TRUE(Has(custom, "app_helper Shut down")) << custom;
    EXPECT_FALSE(Has(custom, "Unhandled interrupt"));

    ASSERT_EQ(Word({"-RemoveService"}).Wait(), 0);
    EXPECT_FALSE(Registered().Exists());
    EXPECT_EQ(Word({"-RemoveService"}).Wait(), 0x20000008);
    EXPECT_EQ(Word({"-StartService"}).Wait(), 0x20000008);
}

TEST_F(Service, RunningAsAServiceOutsideTheManagerFails)
{
    // (Wine's dispatcher may take ten seconds to give up.)
    Child child = Word({"-Service"});
    EXPECT_EQ(child.Wait(60), 0x20000008);
    EXPECT_TRUE(Has(child.Errors(), "The executable failed to start."));
    EXPECT_TRUE(Has(StartupLog(child.Pid()), "Could not start service control dispatcher"));
}
