// VXListenSocket: a listening IPv4 stream socket on all local addresses, with address
// reuse, send and receive time-outs (inherited by accepted connections) and a bounded
// Accept. Set-up failures (a taken port, say) show at the first Accept. Closes nothing
// on destruction; one thread at a time.
#pragma once

#include "vxsystem/VXFixedString.h"
#include "vxsystem/VXSocket.h"

class VXListenSocket : public VXSocket
{
public:
    // Time-outs in milliseconds; 0 waits for ever. Listens at once.
    VXListenSocket(unsigned short port, unsigned int acceptTimeout, unsigned int sendTimeout,
                   unsigned int receiveTimeout);
    VXListenSocket(VXFixedString const& name, unsigned short port, unsigned int acceptTimeout,
                   unsigned int sendTimeout, unsigned int receiveTimeout);

    // A new socket with the options, bound, listening with a backlog of 1.
    void Open();
    // Shutdown and Close, then Open: the way back after a failure.
    void Reopen();
    // Only the new socket.
    void Create();
    // Waits up to the accept time-out for a connection. accepted is its handle, or -1
    // with SR_TIMED_OUT when none came, or the mapped error.
    void Accept(VXSocketResult& result, VXSocketHandle& accepted);

    VXFixedString const& QName() const { return sName; }
    unsigned short QPort() const { return usPort; }

private:
    VXFixedString sName; // the host's label; unused here
    unsigned short usPort;
    unsigned int uiAcceptTimeout;  // milliseconds
    unsigned int uiSendTimeout;    // milliseconds
    unsigned int uiReceiveTimeout; // milliseconds
};
