#pragma once

#include <dovo/Socket.h>

namespace dovo {

/// A connecting stream socket, and the object an accepted connection lands in.
class DOVO_API TCPSocket : public Socket
{
public:
    TCPSocket();
    /// Connects to peer on BeginUsing.
    explicit TCPSocket(const IPPeer& peer);
    ~TCPSocket() override;

    /// One receive of at most size bytes; 0 once the peer has closed (or size is below 1).
    int Read(unsigned char* data, int size) override;
};

} // namespace dovo
