// RAMBlock, DynamicBuffer and DynamicBufferStream: transports over memory.

#include <dovo/DynamicBuffer.h>
#include <dovo/DynamicBufferStream.h>
#include <dovo/RAMBlock.h>

#include <dovo/TransportException.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace dovo {

namespace {
constexpr int ErrorBadState = 0x20000003;
constexpr int ErrorTooLarge = 0x20000012;
constexpr int kMaxChunk = 65536;
} // namespace

// RAMBlock

RAMBlock::RAMBlock(void* data, int size) : m_data(static_cast<unsigned char*>(data)), m_size(data ? size : 0) {}

RAMBlock::RAMBlock(int size) : m_size(std::max(size, 0)), m_owns(true) {}

RAMBlock::~RAMBlock()
{
    if (m_owns) delete[] m_data;
}

void RAMBlock::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("RAMBlock", where, error, message, ExceptionLevel(), osError);
}

void RAMBlock::Set(void* data, int size)
{
    CeaseUsing();
    m_data = static_cast<unsigned char*>(data);
    m_size = std::max(size, 0);
}

void RAMBlock::Set(void* data, int size, bool owns)
{
    Set(data, size);
    m_owns = owns;
}

String RAMBlock::GetName()
{
    return SFormat("RAMBlock 0x%08X %d", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(m_data)), m_size);
}

void RAMBlock::_Allocate()
{
    m_data = new unsigned char[m_size > 0 ? m_size : 1];
    AllocationSignal.Emit(this);
}

void RAMBlock::BeginUsing()
{
    if (m_owns && m_size >= 1) {
        if (m_data) delete[] m_data, m_data = nullptr;
        _Allocate();
    }
}

void RAMBlock::CeaseUsing()
{
    if (m_owns) delete[] m_data;
    m_data = nullptr;
    m_size = 0;
}

long long RAMBlock::Seek(long long offset, Stream::SeekMode mode)
{
    // Computed in 32 bits, as positions in a block are.
    const int off = static_cast<int>(offset);
    long long target;
    switch (mode) {
    case Stream::fromBegin: target = off; break;
    case Stream::fromCurrent: target = static_cast<long long>(m_position) + off; break;
    case Stream::fromEnd: target = static_cast<long long>(m_size) - off; break;
    default: target = 0;
    }
    m_position = static_cast<int>(std::clamp<long long>(target, 0, m_size));
    return m_position;
}

int RAMBlock::Read(unsigned char* out, int n)
{
    if (!m_data) RaiseException("Read", ErrorBadState, "No memory block to read from", -1);
    const int count = std::max(0, std::min(n, m_size - m_position));
    if (count > 0 && out != m_data + m_position) std::memmove(out, m_data + m_position, count);
    m_position += count;
    return count;
}

int RAMBlock::Write(const unsigned char* in, int n)
{
    if (!m_data) RaiseException("Write", ErrorBadState, "No memory block to write to", -1);
    if (n <= 0) return 0;
    if (static_cast<long long>(m_position) + n > m_size)
        RaiseException("Write", ErrorTooLarge, "Cannot write past end of memory block", -1);
    if (in != m_data + m_position) std::memmove(m_data + m_position, in, n);
    m_position += n;
    return n;
}

// DynamicBuffer

DynamicBuffer::DynamicBuffer(int initialSize, int growBy)
    : RAMBlock(initialSize > 0 ? initialSize : 8192), m_growBy(std::max(growBy, 0))
{
}

void DynamicBuffer::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("DynamicBuffer", where, error, message, ExceptionLevel(), osError);
}

void DynamicBuffer::Grow(int n)
{
    if (n < 1) return;
    const int before = m_size;
    long long add = 0;
    while (n > 0) {
        const int chunk = m_growBy > 0 ? m_growBy : std::min(std::max(before, 1), kMaxChunk);
        add += chunk;
        n -= chunk;
    }
    if (add == 0) return;
    if (before + add > 0x7FFFFFFF)
        RaiseException("Grow", ErrorTooLarge, "Cannot grow memory block beyond 2147483647 bytes", 0);
    unsigned char* old = m_data;
    const int keep = std::min(m_position, before);
    m_size = static_cast<int>(before + add);
    m_data = new unsigned char[m_size];
    if (old && keep > 0) std::memcpy(m_data, old, keep);
    // The observers re-point to the new memory before the old goes.
    AllocationSignal.Emit(this);
    if (m_owns) delete[] old;
    m_owns = true;
}

int DynamicBuffer::Write(const unsigned char* in, int n)
{
    if (!m_data) RaiseException("Write", ErrorBadState, "No memory block to write to", 0);
    if (n <= 0) return 0;
    // Bytes already in place (a DynamicBufferStream writes into the block itself) only advance the
    // position; others are copied after growing, so that they land in the new memory.
    if (in != m_data + m_position) {
        const long long missing = static_cast<long long>(m_position) - m_size + n;
        if (missing > 0) Grow(static_cast<int>(std::min<long long>(missing, 0x7FFFFFFF)));
        std::memmove(m_data + m_position, in, n);
    }
    m_position += n;
    return n;
}

// DynamicBufferStream

DynamicBufferStream::DynamicBufferStream(DynamicBuffer* buffer) : OutStream(0, true, false), m_block(buffer)
{
    m_writeThrough = false;
    buffer->AllocationSignal.Connect(this, &DynamicBufferStream::_AllocMessageBuffer);
    buffer->BeginUsing();
    Attach(buffer);
}

DynamicBufferStream::~DynamicBufferStream()
{
    Close(false);
    DisconnectAll();
}

void DynamicBufferStream::_AllocMessageBuffer(RAMBlock* block)
{
    // SetBuffer carries the composed bytes over from the old memory, which the block frees only after
    // this slot has run.
    const int position = SetBufPos(0);
    SetBuffer(block->Data(), static_cast<int>(block->Size()));
    SetBufPos(position);
}

void DynamicBufferStream::DumpBuffer()
{
    if (m_status != detaching) {
        m_block->Grow(1);
        return;
    }
    if (m_bufEnd > 0) DoWrite(m_buffer, m_bufEnd);
    m_bufPos = m_bufEnd = 0;
}

} // namespace dovo
