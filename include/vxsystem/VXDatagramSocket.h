// VXDatagramSocket: an IPv4 datagram socket bound to port 28000 on all local addresses,
// with address reuse so that several may share the port. Sends and receives block without
// a time-out. Closes nothing on destruction; one thread at a time.
#pragma once

#include "vxsystem/VXSocket.h"

struct sockaddr;

class VXDatagramSocket : public VXHeapObject
{
public:
    static constexpr unsigned short uiDatagramPort = 28000;

    // Opens at once.
    VXDatagramSocket();

    // A new socket with the options, bound to the datagram port.
    void Open();
    // Only the new socket.
    void Create();
    void Close();
    bool IsValid() const { return hSocket != VX_INVALID_SOCKET; }
    VXSocketHandle QHandle() const { return hSocket; }

    // from, when given, receives the sender's IPv4 address (16 bytes). received as in
    // VXSocket::Receive.
    void ReceiveFrom(VXSocketResult& result, char* data, unsigned int size, uint64_t& received,
                     sockaddr* from);
    // to is an IPv4 address (16 bytes).
    void SendTo(VXSocketResult& result, char const* data, unsigned int size, sockaddr const* to);

private:
    VXSocketHandle hSocket;
};
