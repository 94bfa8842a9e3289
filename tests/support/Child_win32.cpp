// Child on Windows: CreateProcess with the output and error streams on pipes.

#include "Child.h"

#include "core/Win32Support.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>

struct Child::Native
{
    PROCESS_INFORMATION process{};
    bool ended = false;
    DWORD code = 0;
};

namespace {

std::string Quote(const std::string& word)
{
    if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) return word;
    std::string quoted = "\"";
    for (char c : word) {
        if (c == '"') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

} // namespace

Child::Child(const std::string& program, const Options& options) : m_native(new Native)
{
    std::string commandLine = Quote(program);
    for (const std::string& word : options.arguments) commandLine += " " + Quote(word);

    // The environment block: ours with the changes, sorted without regard to case as Windows wants it.
    std::vector<std::string> current;
    if (char* block = GetEnvironmentStringsA()) {
        for (char* entry = block; *entry; entry += std::strlen(entry) + 1) current.emplace_back(entry);
        FreeEnvironmentStringsA(block);
    }
    std::vector<std::string> entries = Merged(current, options.environment, true);
    std::sort(entries.begin(), entries.end(),
              [](const std::string& a, const std::string& b) { return Upper(a) < Upper(b); });
    std::string environment;
    for (const std::string& entry : entries) environment += entry + '\0';
    environment += '\0';

    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE outRead, outWrite, errRead, errWrite;
    if (!CreatePipe(&outRead, &outWrite, &inherit, 0) || !CreatePipe(&errRead, &errWrite, &inherit, 0))
        throw std::runtime_error("no pipes");
    SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(errRead, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = outWrite;
    startup.hStdError = errWrite;
    const BOOL created = CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NEW_CONSOLE,
                                        environment.data(), options.folder.empty() ? nullptr : options.folder.c_str(),
                                        &startup, &m_native->process);
    CloseHandle(outWrite);
    CloseHandle(errWrite);
    if (!created) {
        CloseHandle(outRead);
        CloseHandle(errRead);
        throw std::runtime_error("cannot start " + program + ": error " + std::to_string(GetLastError()));
    }
    m_outputReader = std::thread([this, outRead] { Collect(outRead, m_output); });
    m_errorReader = std::thread([this, errRead] { Collect(errRead, m_errors); });
}

Child::~Child()
{
    if (!m_native->ended) {
        TerminateProcess(m_native->process.hProcess, 255);
        Wait(60);
    }
    CloseHandle(m_native->process.hThread);
    CloseHandle(m_native->process.hProcess);
}

void Child::Collect(void* pipe, std::string& into)
{
    char buffer[4096];
    for (DWORD got = 0; ReadFile(pipe, buffer, sizeof buffer, &got, nullptr) && got > 0;) {
        std::lock_guard<std::mutex> hold(m_lock);
        into.append(buffer, got);
        m_changed.notify_all();
    }
    CloseHandle(pipe);
    std::lock_guard<std::mutex> hold(m_lock);
    --m_openPipes;
    m_changed.notify_all();
}

unsigned Child::Pid() const { return m_native->process.dwProcessId; }

namespace {
BOOL WINAPI IgnoreOurselves(DWORD) { return TRUE; }
} // namespace

// The child has a console of its own: we join it and send Ctrl-C to everyone attached, ourselves
// included (and ignoring it). Only Ctrl-C can be sent this way (Wine does not send Ctrl-Break at all).
void Child::Interrupt(int)
{
    FreeConsole();
    if (!AttachConsole(m_native->process.dwProcessId)) return;
    SetConsoleCtrlHandler(IgnoreOurselves, TRUE);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
}

int Child::Wait(double seconds)
{
    if (!m_native->ended) {
        bool timedOut = false;
        if (WaitForSingleObject(m_native->process.hProcess, static_cast<DWORD>(seconds * 1000)) != WAIT_OBJECT_0) {
            TerminateProcess(m_native->process.hProcess, 255);
            WaitForSingleObject(m_native->process.hProcess, INFINITE);
            timedOut = true;
        }
        GetExitCodeProcess(m_native->process.hProcess, &m_native->code);
        m_native->ended = true;
        if (m_outputReader.joinable()) m_outputReader.join();
        if (m_errorReader.joinable()) m_errorReader.join();
        if (timedOut) return KilledBy - 1;
    }
    return static_cast<int>(m_native->code);
}

std::string HelperPath(const char* built)
{
    // A path of the build machine reaches the program under Wine as one on drive Z:.
    return built[0] == '/' ? std::string("Z:") + built : std::string(built);
}
