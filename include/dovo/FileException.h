#pragma once

#include <dovo/Exception.h>
#include <dovo/Path.h>

namespace dovo {

/// The exception of the file layer: shows the file it concerns.
class DOVO_API FileException : public Exception
{
public:
    FileException(const FileException&) = default;
    FileException& operator=(const FileException&) = default;
    ~FileException() override;

    const Path& Filename() const { return m_file; }
    String DisplayAsString() const override;
    String DisplayAsHtml() const override;

    [[noreturn]] static void Throw(const Path& file, const String& module, const String& method, int error,
                                   const String& message, signed char level, int osError);

protected:
    FileException(const Path& file, const String& module, const String& method, int error, const String& message,
                  signed char level, int osError);

private:
    Path m_file;
};

} // namespace dovo
