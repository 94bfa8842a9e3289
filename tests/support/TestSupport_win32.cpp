// The tests' support on Windows: children started with CreateProcess on a console of their own.

#include "tests/support/TestSupport.h"

#include "core/Win32Support.h"

#include <stdexcept>

void SetEnvironment(const std::string& name, const std::string& value)
{
    SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
}

// A path of the build machine reaches a program under Wine as one on drive Z:.
std::string Native(const std::filesystem::path& path)
{
    const std::string text = path.string();
    return text[0] == '/' ? "Z:" + text : text;
}

std::string OsComputerName()
{
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? std::string(name, size) : std::string();
}

std::string OsUserName()
{
    char name[257] = {};
    DWORD size = sizeof name;
    return GetUserNameA(name, &size) ? std::string(name) : std::string();
}

unsigned OsProcessId() { return GetCurrentProcessId(); }

int OsLogicalProcessors() { return static_cast<int>(GetActiveProcessorCount(ALL_PROCESSOR_GROUPS)); }

int OsOpenHandles()
{
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
}

unsigned SetUmask(unsigned) { return 0; }

int HelperRun::Exit(int code) { return code; }

struct Child::Process
{
    PROCESS_INFORMATION info{};
    ~Process()
    {
        CloseHandle(info.hThread);
        CloseHandle(info.hProcess);
    }
};

namespace {

std::string Quote(const std::string& word)
{
    if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) return word;
    std::string quoted = "\"";
    for (const char c : word) quoted += c == '"' ? "\\\"" : std::string(1, c);
    return quoted + "\"";
}

HANDLE Inheritable(const std::filesystem::path& file)
{
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileA(Native(file).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

BOOL WINAPI IgnoreOurselves(DWORD) { return TRUE; }

} // namespace

void Child::Start(const std::string& program, const std::vector<std::string>& words,
                  const std::filesystem::path& folder)
{
    m_process = std::make_shared<Process>();
    std::string commandLine = Quote(program);
    for (const std::string& word : words) commandLine += " " + Quote(word);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = Inheritable(m_out);
    startup.hStdError = Inheritable(m_err);
    const BOOL created = CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NEW_CONSOLE,
                                        nullptr, Native(folder).c_str(), &startup, &m_process->info);
    CloseHandle(startup.hStdOutput);
    CloseHandle(startup.hStdError);
    if (!created) throw std::runtime_error("cannot start " + program + ": error " + std::to_string(GetLastError()));
}

bool Child::Ended(double seconds)
{
    if (WaitForSingleObject(m_process->info.hProcess, static_cast<DWORD>(seconds * 1000)) != WAIT_OBJECT_0)
        return false;
    DWORD code = 0;
    GetExitCodeProcess(m_process->info.hProcess, &code);
    m_ended = true;
    m_code = static_cast<int>(code);
    return true;
}

void Child::Kill() { TerminateProcess(m_process->info.hProcess, 255); }

unsigned Child::Pid() const { return m_process->info.dwProcessId; }

// We join the child's console and send Ctrl-C to everyone attached, ourselves included (and ignoring
// it). Only Ctrl-C can be sent this way (Wine does not send Ctrl-Break at all).
void Child::Interrupt(int)
{
    FreeConsole();
    if (!AttachConsole(m_process->info.dwProcessId)) return;
    SetConsoleCtrlHandler(IgnoreOurselves, TRUE);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
}
