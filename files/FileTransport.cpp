// File as a transport: a path opened with a mode, read, written and sought through the system's calls.

#include <dovo/File.h>
#include <dovo/FileException.h>
#include <dovo/InFile.h>
#include <dovo/OutFile.h>

#include "files/FileHandle.h"
#include "files/FileSystem.h"
#include "objects/OSError.h"

namespace dovo {

namespace {
constexpr int ErrorBadState = 0x20000003;
constexpr int ErrorFailed = 0x20000008;
// A handle that stands for a missing file opened as empty.
constexpr std::intptr_t kMissing = -2;
} // namespace

File::File(const Path& path, int mode) : m_path(path), m_mode(mode) {}

File::~File()
{
    if (m_open && m_handle >= 0) filehandle::Close(m_handle);
}

void File::RaiseException(const String& where, int error, const String& message, int osError) const
{
    FileException::Throw(m_path, "File", where, error, message, ExceptionLevel(), osError);
}

String File::GetName() { return m_path.Text(); }

bool File::Opened(const Path& path, bool raise)
{
    CeaseUsing();
    m_path = path;
    const std::intptr_t handle = filehandle::Open(filesystem::NativePath(path).c_str(), m_mode);
    if (handle == filehandle::kInvalid) {
        // Taken at once: building the message may change the thread's last error.
        const int error = oserror::Last();
        const bool writes = m_mode & (modeWrite | modeAppend | modeReadWrite);
        if (!writes && (m_mode & modeMissingIsEmpty) && filehandle::LastErrorIsMissing()) {
            m_handle = kMissing;
            m_open = true;
            return true;
        }
        if (raise) RaiseException("BeginUsing", ErrorFailed, "Could not open file " + path.Text(), error);
        return false;
    }
    m_handle = handle;
    m_open = true;
    return true;
}

void File::BeginUsing() { Opened(m_path, true); }

bool File::TryOpen(const Path& path) { return Opened(path, false); }

void File::AltOpen(const Path& path) { Opened(path, true); }

void File::CeaseUsing()
{
    if (!m_open) return;
    if (m_handle >= 0) filehandle::Close(m_handle);
    m_handle = -1;
    m_open = false;
}

long long File::Seek(long long offset, Stream::SeekMode mode)
{
    if (!m_open) RaiseException("Seek", ErrorBadState, "File is not open", 0);
    if (m_handle == kMissing) return 0;
    if (mode < Stream::fromBegin || mode > Stream::fromEnd) return -1;
    return filehandle::Seek(m_handle, offset, mode);
}

int File::Read(unsigned char* data, int size)
{
    if (!m_open) RaiseException("Read", ErrorBadState, "File is not open", 0);
    if (m_handle == kMissing || size <= 0) return 0;
    const int n = filehandle::Read(m_handle, data, size);
    if (n < 0) {
        const int error = oserror::Last();
        RaiseException("Read", ErrorFailed, "Could not read from file " + m_path.Text(), error);
    }
    return n;
}

int File::Write(const unsigned char* data, int size)
{
    if (!m_open) RaiseException("Write", ErrorBadState, "File is not open", 0);
    if (size <= 0) return 0;
    if (m_handle == kMissing || filehandle::Write(m_handle, data, size) < 0) {
        const int error = m_handle == kMissing ? 0 : oserror::Last();
        RaiseException("Write", ErrorFailed, "Could not write to file " + m_path.Text(), error);
    }
    return size;
}

long long File::Size() const
{
    if (!m_open || m_handle == kMissing) return m_open ? 0 : FileSize(m_path);
    return filehandle::Size(m_handle);
}

// InFile, OutFile

InFile::InFile(const Path& path, int mode, int bufferSize, bool throwAtEnd)
    : InStream(bufferSize, throwAtEnd), m_file(path, mode)
{
    _Transport(&m_file);
    Open();
}

InFile::~InFile() { Close(true); }

OutFile::OutFile(const Path& path, int mode, int bufferSize, bool binary, bool flushOnNewline)
    : OutStream(bufferSize, binary, flushOnNewline), m_file(path, mode)
{
    _Transport(&m_file);
    Open();
}

OutFile::~OutFile() { Close(false); }

} // namespace dovo
