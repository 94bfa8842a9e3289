#pragma once

#include <dovo/File.h>
#include <dovo/InStream.h>

namespace dovo {

/// An InStream that owns the File it reads: opened by the constructor (raising a FileException when it
/// cannot be), closed by the destructor.
class DOVO_API InFile : public InStream
{
public:
    explicit InFile(const Path& path, int mode = File::modeRead, int bufferSize = 65536, bool throwAtEnd = false);
    InFile(const InFile&) = delete;
    InFile& operator=(const InFile&) = delete;
    ~InFile() override;

    File& GetFile() { return m_file; }

private:
    File m_file;
};

} // namespace dovo
