// The service manager on Windows: the service control manager, its dispatcher and status reports.

#include "app/ServiceControl.h"
#include "core/Win32Support.h"

namespace dovo::service {

namespace {

SERVICE_STATUS_HANDLE g_status = nullptr;
DWORD g_checkPoint = 0;
void (*g_serviceMain)(int, char**) = nullptr;

void WINAPI DispatchedMain(DWORD argc, LPSTR* argv) { g_serviceMain(static_cast<int>(argc), argv); }

DWORD WINAPI ControlHandler(DWORD control, DWORD, LPVOID, LPVOID) { return OnControl(control); }

} // namespace

struct Manager::Native
{
    SC_HANDLE manager = nullptr;
    SC_HANDLE service = nullptr;
};

Manager::Manager() : m_native(new Native) {}

Manager::~Manager()
{
    if (m_native->service) CloseServiceHandle(m_native->service);
    if (m_native->manager) CloseServiceHandle(m_native->manager);
}

bool Manager::Connect(Access access)
{
    const DWORD rights = access == ForCreate   ? SC_MANAGER_CREATE_SERVICE
                         : access == ForRemove ? SC_MANAGER_ALL_ACCESS
                                               : SC_MANAGER_CONNECT;
    m_native->manager = OpenSCManagerA(nullptr, nullptr, rights);
    return m_native->manager != nullptr;
}

bool Manager::Open(const String& name, Access access)
{
    const DWORD rights = access == ForRemove  ? SERVICE_ALL_ACCESS
                         : access == ForStart ? SERVICE_START | SERVICE_QUERY_STATUS
                                              : SERVICE_STOP | SERVICE_QUERY_STATUS;
    m_native->service = OpenServiceA(m_native->manager, name.c_str(), rights);
    return m_native->service != nullptr;
}

bool Manager::Create(const Config& config)
{
    // An account without a domain is a local one.
    String account = config.user;
    if (!account.Empty() && account.Find("\\") < 0) account = ".\\" + account;
    const String image = ImagePath(config);
    m_native->service = CreateServiceA(
        m_native->manager, config.name.c_str(), config.displayName.c_str(), SERVICE_ALL_ACCESS,
        SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, image.c_str(), nullptr, nullptr, nullptr,
        account.Empty() ? nullptr : account.c_str(), account.Empty() ? nullptr : config.password.c_str());
    if (!m_native->service) return false;
    if (!config.description.Empty()) {
        String text = config.description;
        SERVICE_DESCRIPTIONA description{const_cast<char*>(text.c_str())};
        ChangeServiceConfig2A(m_native->service, SERVICE_CONFIG_DESCRIPTION, &description);
    }
    return true;
}

String Refusal(const Config&) { return String(); }

bool Manager::Delete() { return DeleteService(m_native->service) != 0; }

bool Manager::Start() { return ::StartServiceA(m_native->service, 0, nullptr) != 0; }

bool Manager::Stop()
{
    SERVICE_STATUS status{};
    return ControlService(m_native->service, SERVICE_CONTROL_STOP, &status) != 0;
}

bool Manager::QueryState(int& state)
{
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(m_native->service, &status)) return false;
    state = static_cast<int>(status.dwCurrentState);
    return true;
}

bool RunDispatcher(const String& name, void (*serviceMain)(int argc, char** argv))
{
    g_serviceMain = serviceMain;
    String serviceName = name;
    SERVICE_TABLE_ENTRYA table[] = {{const_cast<char*>(serviceName.c_str()), DispatchedMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherA(table) != 0;
}

bool RegisterControlHandler(const String& name)
{
    g_checkPoint = 0;
    g_status = RegisterServiceCtrlHandlerExA(name.c_str(), ControlHandler, nullptr);
    return g_status != nullptr;
}

bool ReportState(State state, int exitCode)
{
    if (!g_status) return false;
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = static_cast<DWORD>(state);
    status.dwControlsAccepted = state == StartPending ? 0 : SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
    if (exitCode != 0) {
        status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
        status.dwServiceSpecificExitCode = static_cast<DWORD>(exitCode);
    }
    const bool pending = state == StartPending || state == StopPending;
    status.dwCheckPoint = pending ? ++g_checkPoint : 0;
    status.dwWaitHint = pending ? 10000 : 0;
    return SetServiceStatus(g_status, &status) != 0;
}

} // namespace dovo::service
