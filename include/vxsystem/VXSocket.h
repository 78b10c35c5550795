// Thin stream sockets for a host's tools: VXSocketResult (the outcome of one call, in
// fixed numbers on every platform), VXSocket (a handle with Send/Receive/Shutdown/Close)
// and VXSocketClient (connects by host name). No threads, queues or framing.
//
// Contract:
// - VXSocket::Startup runs once before the first socket and Cleanup once after the last
//   (harmless no-ops where the platform needs neither).
// - Destructors close nothing: the owner calls Shutdown and Close.
// - One thread at a time per object. Sends and receives block as the socket's time-outs
//   allow; a time-out gives SR_TIMED_OUT. Sockets are always blocking, so a platform
//   "try again" on a socket with a time-out is reported as SR_TIMED_OUT too.
// - Writing to a connection that the peer has dropped never raises a signal: it fails
//   with SR_CONNECTION_RESET.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdint>

// Platform socket handle; -1 when there is none.
using VXSocketHandle = intptr_t;
inline constexpr VXSocketHandle VX_INVALID_SOCKET = -1;

class VXSocketResult
{
public:
    enum Value : int
    {
        SR_OK = 0,
        SR_WOULD_BLOCK = 10035,
        SR_CONNECTION_RESET = 10054,
        SR_NOT_CONNECTED = 10057,
        SR_TIMED_OUT = 10060,
        SR_ERROR = -1
    };

    VXSocketResult() : iValue(SR_OK) {}
    VXSocketResult(Value value) : iValue(value) {}
    // From the return value of a socket call: -1 maps the platform's last error, anything
    // else is SR_OK.
    explicit VXSocketResult(int callResult);

    Value QValue() const { return static_cast<Value>(iValue); }
    friend bool operator==(VXSocketResult a, VXSocketResult b) { return a.iValue == b.iValue; }

private:
    int32_t iValue;
};

class VXSocket : public VXHeapObject
{
public:
    VXSocket() : hSocket(VX_INVALID_SOCKET) {}
    // Takes over a handle, such as one that VXListenSocket::Accept gave.
    explicit VXSocket(VXSocketHandle handle) : hSocket(handle) {}
    // Closes nothing, like the derived classes' destructors.
    virtual ~VXSocket() = default;
    VXSocket(VXSocket const&) = default;
    VXSocket& operator=(VXSocket const&) = default;

    static int Startup();
    static void Cleanup();

    bool IsValid() const { return hSocket != VX_INVALID_SOCKET; }
    VXSocketHandle QHandle() const { return hSocket; }

    // The count sent is not reported; a short send is still SR_OK.
    virtual void Send(VXSocketResult& result, char const* data, unsigned int size);
    // received is the count on SR_OK (0: the peer closed), otherwise 0.
    virtual void Receive(VXSocketResult& result, char* data, unsigned int size, uint64_t& received);
    // Both directions; the outcome is dropped.
    void Shutdown();
    void Close();

protected:
    virtual void OnShutdown() {}
    virtual void OnClose() {}

    VXSocketHandle hSocket;
};

class VXSocketClient : public VXSocket
{
public:
    // Looks host up (a name or a numeric address of either family) and connects to the
    // first address found. On failure the socket is closed and IsValid is false.
    void Connect(VXSocketResult& result, wchar_t const* host, unsigned int port);
};
