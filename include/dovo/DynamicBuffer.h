#pragma once

#include <dovo/RAMBlock.h>

namespace dovo {

/// A RAMBlock that grows as it is written: by growBy bytes a step, or (growBy 0) by its size up to
/// 64 KiB a step.
class DOVO_API DynamicBuffer : public RAMBlock
{
public:
    /// initialSize 0 means 8192 bytes. The memory is allocated by BeginUsing.
    explicit DynamicBuffer(int initialSize = 0, int growBy = 0);

    /// Grows by whole steps until at least n more bytes fit (nothing for n < 1). The first Position()
    /// bytes are kept.
    void Grow(int n);
    /// Writes at the position, growing first when the bytes do not fit. Bytes that are already in place
    /// (data is the block's own memory at the position) are not copied.
    int Write(const unsigned char* data, int size) override;

protected:
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;

private:
    int m_growBy;
};

} // namespace dovo
