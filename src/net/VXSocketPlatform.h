// The socket seam: every platform call of the socket classes, in the platform's own
// convention (-1 and a last error that PlatformSocketLastResult reads). Families, types
// and options are named here and translated by each platform half.
// Stands alone (no library header), so that a platform half may include the system's own.
#pragma once

#include <cstdint>

struct sockaddr;

// As in VXSocket.h.
using VXSocketHandle = intptr_t;

// VXSocketResult's numbers, for the platform halves' mapping.
inline constexpr int VX_SR_OK = 0;
inline constexpr int VX_SR_WOULD_BLOCK = 10035;
inline constexpr int VX_SR_CONNECTION_RESET = 10054;
inline constexpr int VX_SR_NOT_CONNECTED = 10057;
inline constexpr int VX_SR_TIMED_OUT = 10060;
inline constexpr int VX_SR_ERROR = -1;

enum class VXSocketKind
{
    STREAM_V4,  // TCP over IPv4
    STREAM_V6,  // TCP over IPv6
    DATAGRAM_V4 // UDP over IPv4
};

enum class VXSocketOption
{
    REUSE_ADDRESS,
    RECEIVE_TIMEOUT, // milliseconds, 0 for none
    SEND_TIMEOUT,    // milliseconds, 0 for none
    V6_ONLY
};

int PlatformSocketStartup();
void PlatformSocketCleanup();
// The last error of this thread as one of VXSocketResult's numbers.
int PlatformSocketLastResult();

VXSocketHandle PlatformSocketCreate(VXSocketKind kind);
void PlatformSocketSetOption(VXSocketHandle socket, VXSocketOption option, unsigned int value);
// Looks up the wildcard address of kind's family for port, and binds to the first one.
int PlatformSocketBindPassive(VXSocketHandle socket, VXSocketKind kind, unsigned int port);
int PlatformSocketListen(VXSocketHandle socket, int backlog);
VXSocketHandle PlatformSocketAccept(VXSocketHandle socket);
// 1 when readable within milliseconds, 0 on time-out, -1 on error.
int PlatformSocketWaitReadable(VXSocketHandle socket, unsigned int milliseconds);
// Looks host up, makes a socket for the first address and connects it. socket is the new
// handle whatever the outcome (-1 when none could be made).
int PlatformSocketConnect(VXSocketHandle& socket, wchar_t const* host, unsigned int port);
int PlatformSocketSend(VXSocketHandle socket, char const* data, unsigned int size);
int PlatformSocketReceive(VXSocketHandle socket, char* data, unsigned int size);
int PlatformSocketSendTo(VXSocketHandle socket, char const* data, unsigned int size,
                         sockaddr const* to);
int PlatformSocketReceiveFrom(VXSocketHandle socket, char* data, unsigned int size, sockaddr* from);
int PlatformSocketShutdown(VXSocketHandle socket);
int PlatformSocketClose(VXSocketHandle socket);
