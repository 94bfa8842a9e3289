#pragma once

#include <dovo/Signal.h>
#include <dovo/Stream.h>

namespace dovo {

/// A transport over a block of memory of fixed size: the caller's memory, or its own allocated by
/// BeginUsing (its bytes are undefined until written). Reading past the end gives 0 bytes; writing past
/// it raises.
class DOVO_API RAMBlock : public Stream::Transport
{
public:
    /// Borrows the caller's memory.
    RAMBlock(void* data, int size);
    /// No memory yet; BeginUsing allocates size bytes (none for 0).
    explicit RAMBlock(int size = 0);
    RAMBlock(const RAMBlock&) = delete;
    RAMBlock& operator=(const RAMBlock&) = delete;
    ~RAMBlock() override;

    /// Lets the current memory go, then uses data and size (owned as before, or as owns says).
    void Set(void* data, int size);
    void Set(void* data, int size, bool owns);

    /// "RAMBlock 0x%08X %d": the low 32 bits of the address and the size.
    String GetName() override;
    /// Allocates the memory when the block owns it and has a size.
    void BeginUsing() override;
    /// Frees owned memory; the block then has no memory and size 0 (the position stays).
    void CeaseUsing() override;
    /// Clamped to 0..Size(); stored as the position.
    long long Seek(long long offset, Stream::SeekMode mode) override;
    int Read(unsigned char* data, int size) override;
    int Write(const unsigned char* data, int size) override;
    bool Poll(float timeout) const override { return true; }
    bool Accept(Stream::Transport* server) override { return false; }
    bool IsUsable() const override { return m_data != nullptr; }
    long long Size() const override { return m_size; }
    /// Where the next Read or Write starts.
    virtual long long Position() const { return m_position; }

    unsigned char* Data() const { return m_data; }
    bool Owns() const { return m_owns; }

    /// Emitted with the block each time it gets new memory.
    Signal1<RAMBlock*, ThreadPolicy::LocalThreaded> AllocationSignal;

protected:
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    /// Allocates size bytes and tells the observers.
    void _Allocate();

    unsigned char* m_data = nullptr;
    int m_size = 0;
    int m_position = 0;
    bool m_owns = false;
};

} // namespace dovo
