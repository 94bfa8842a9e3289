#pragma once

#include <dovo/DynamicBuffer.h>
#include <dovo/HasSlots.h>
#include <dovo/OutStream.h>

namespace dovo {

/// An OutStream that composes straight into a DynamicBuffer's memory: its buffer is the block itself,
/// grown when full. Detaching leaves the block's position at the message's length.
class DOVO_API DynamicBufferStream : public OutStream, public HasSlots<ThreadPolicy::LocalThreaded>
{
public:
    explicit DynamicBufferStream(DynamicBuffer* buffer);
    ~DynamicBufferStream() override;

    /// The slot of the block's allocation signal: the stream's buffer becomes the block's memory.
    void _AllocMessageBuffer(RAMBlock* block);

protected:
    void DumpBuffer() override;

private:
    DynamicBuffer* m_block;
};

} // namespace dovo
