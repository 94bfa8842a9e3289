// The service words with the service control manager: install, start, run as a service, stop and
// remove the helper program, in the build's own Wine prefix (never on a real machine's configuration).

#include "tests/app/HelperFixture.h"

#include "core/Win32Support.h"

#include <chrono>
#include <thread>

namespace fs = std::filesystem;

namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

const char* const kName = "app_helper";

// The service as the manager holds it, read with the manager's own calls.
class Registered
{
public:
    Registered()
    {
        m_manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
        if (m_manager) m_service = OpenServiceA(m_manager, kName, SERVICE_ALL_ACCESS);
    }
    ~Registered()
    {
        if (m_service) CloseServiceHandle(m_service);
        if (m_manager) CloseServiceHandle(m_manager);
    }
    bool Exists() const { return m_service != nullptr; }
    std::string ImagePath() const { return Config().first; }
    std::string DisplayName() const { return Config().second; }
    DWORD State() const
    {
        SERVICE_STATUS status{};
        return QueryServiceStatus(m_service, &status) ? status.dwCurrentState : 0;
    }
    // Waits until the service is in the state; false after 60 seconds.
    bool AwaitState(DWORD state) const
    {
        for (int poll = 0; poll < 600; ++poll) {
            if (State() == state) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    SC_HANDLE Handle() const { return m_service; }
    void Delete()
    {
        if (!m_service) return;
        SERVICE_STATUS status{};
        ControlService(m_service, SERVICE_CONTROL_STOP, &status);
        AwaitState(SERVICE_STOPPED);
        DeleteService(m_service);
    }

private:
    std::pair<std::string, std::string> Config() const
    {
        std::vector<char> buffer(8192);
        auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer.data());
        DWORD needed = 0;
        if (!QueryServiceConfigA(m_service, config, static_cast<DWORD>(buffer.size()), &needed)) return {};
        return {config->lpBinaryPathName ? config->lpBinaryPathName : "",
                config->lpDisplayName ? config->lpDisplayName : ""};
    }
    SC_HANDLE m_manager = nullptr;
    SC_HANDLE m_service = nullptr;
};

class Service : public HelperRun
{
protected:
    void SetUp() override
    {
        HelperRun::SetUp();
        Registered().Delete(); // what an interrupted earlier run may have left
    }
    void TearDown() override
    {
        Registered().Delete();
        HelperRun::TearDown();
    }
    Child::Options Word(std::vector<std::string> words) const { return Case("service", std::move(words)); }
};

} // namespace

TEST_F(Service, TheWholeCycleThroughTheServiceControlManager)
{
    // Install: the account switches stay out of the stored command line.
    Child install(Helper(), Word({"-InstallService", "-Name", "Night", "Render", "-Password", "secret", "-Description",
                                  "Renders", "frames"}));
    ASSERT_EQ(install.Wait(), 0) << install.Errors();
    {
        Registered service;
        ASSERT_TRUE(service.Exists());
        EXPECT_EQ(service.DisplayName(), "Night Render");
        const std::string image = service.ImagePath();
        EXPECT_EQ(image.rfind("\"", 0), 0u) << image;
        EXPECT_TRUE(Has(image, "app_helper.exe\" ")) << image;
        EXPECT_TRUE(Has(image, "-Case service"));
        EXPECT_TRUE(Has(image, " -Service"));
        for (const char* word : {"secret", "Night", "-Password", "-Name"}) EXPECT_FALSE(Has(image, word)) << image;
    }
    EXPECT_TRUE(Has(StartupLog(install.Pid()), "Installed app_helper (Night Render) as service:\n\n\""));

    Child again(Helper(), Word({"-InstallService"}));
    EXPECT_EQ(again.Wait(), 0x20000006);

    // Start and wait: the service runs the helper's run loop until it is stopped.
    Child start(Helper(), Word({"-StartService", "-Wait", "60"}));
    ASSERT_EQ(start.Wait(120), 0) << start.Errors();
    EXPECT_EQ(Registered().State(), static_cast<DWORD>(SERVICE_RUNNING));
    Child stop(Helper(), Word({"-StopService", "-Wait", "60"}));
    ASSERT_EQ(stop.Wait(120), 0) << stop.Errors();
    EXPECT_EQ(Registered().State(), static_cast<DWORD>(SERVICE_STOPPED));
    const std::string log = Log();
    EXPECT_TRUE(Has(log, "Service control has requested termination")) << log;
    EXPECT_TRUE(Has(log, "app_helper Shut down"));

    // Started with parameters of its own: those are used in place of the stored command line. They
    // make it give itself a log-off event, which a service ignores, and stop after 20 passes.
    const fs::path custom = m_dir / "custom";
    fs::create_directories(custom);
    {
        Registered service;
        const std::string folder = Native(custom);
        const char* arguments[] = {kName, "-Case", "console-event", "-Event", "5", "-LogFolder", folder.c_str()};
        ASSERT_TRUE(::StartServiceA(service.Handle(), 7, arguments));
        ASSERT_TRUE(service.AwaitState(SERVICE_STOPPED));
    }
    const std::string customLog = Read(custom / "app_helper.log");
    EXPECT_TRUE(Has(customLog, "app_helper Shut down")) << customLog;
    EXPECT_FALSE(Has(customLog, "Unhandled interrupt"));

    Child remove(Helper(), Word({"-RemoveService"}));
    ASSERT_EQ(remove.Wait(), 0) << remove.Errors();
    EXPECT_FALSE(Registered().Exists());
    Child removeAgain(Helper(), Word({"-RemoveService"}));
    EXPECT_EQ(removeAgain.Wait(), 0x20000008);
    Child startMissing(Helper(), Word({"-StartService"}));
    EXPECT_EQ(startMissing.Wait(), 0x20000008);
}

TEST_F(Service, RunningAsAServiceOutsideTheManagerFails)
{
    // (Wine's dispatcher may take ten seconds to give up.)
    Child child(Helper(), Word({"-Service"}));
    EXPECT_EQ(child.Wait(60), 0x20000008);
    EXPECT_TRUE(Has(child.Errors(), "The executable failed to start."));
    EXPECT_TRUE(Has(StartupLog(child.Pid()), "Could not start service control dispatcher"));
}
