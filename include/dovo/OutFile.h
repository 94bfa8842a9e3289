#pragma once

#include <dovo/File.h>
#include <dovo/OutStream.h>

namespace dovo {

/// An OutStream that owns the File it writes: created (or truncated, or appended to, as the mode says)
/// by the constructor, flushed and closed by the destructor. A failure while the destructor flushes is
/// logged, not thrown: call Close() first to see it.
class DOVO_API OutFile : public OutStream
{
public:
    explicit OutFile(const Path& path, int mode = File::modeWrite, int bufferSize = 65536, bool binary = true,
                     bool flushOnNewline = false);
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;
    ~OutFile() override;

    File& GetFile() { return m_file; }

private:
    File m_file;
};

} // namespace dovo
