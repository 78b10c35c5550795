// Windows half of the sockets: Winsock 2.2, whose error numbers are the result numbers.
#include "net/VXSocketPlatform.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/VXSocketTriple.h"

#include <climits>
#include <cwchar>

namespace
{
constexpr int kInet4AddressSize = 16;

SOCKET Sock(VXSocketHandle socket)
{
    return static_cast<SOCKET>(socket);
}

int Clamp(unsigned int size)
{
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

int LookUp(wchar_t const* node, unsigned int port, ADDRINFOW const& hints, ADDRINFOW*& found)
{
    wchar_t service[16];
    swprintf(service, 16, L"%u", port);
    found = nullptr;
    if (GetAddrInfoW(node, service, &hints, &found) == 0 && found)
        return 0;
    WSASetLastError(WSAEADDRNOTAVAIL);
    return -1;
}
} // namespace

int PlatformSocketStartup()
{
    WSADATA data;
    return WSAStartup(0x0202, &data);
}

void PlatformSocketCleanup()
{
    WSACleanup();
}

int PlatformSocketLastResult()
{
    switch (WSAGetLastError())
    {
    case WSAEWOULDBLOCK:
        return VX_SR_WOULD_BLOCK;
    case WSAECONNRESET:
        return VX_SR_CONNECTION_RESET;
    case WSAENOTCONN:
        return VX_SR_NOT_CONNECTED;
    case WSAETIMEDOUT:
        return VX_SR_TIMED_OUT;
    default:
        return VX_SR_ERROR;
    }
}

VXSocketHandle PlatformSocketCreate(VXSocketKind kind)
{
    VXSocketTriple triple = VXDescribeSocket(kind);
    SOCKET made = socket(triple.iFamily, triple.iType, triple.iProtocol);
    return made == INVALID_SOCKET ? VXSocketHandle{-1} : static_cast<VXSocketHandle>(made);
}

void PlatformSocketSetOption(VXSocketHandle socket, VXSocketOption option, unsigned int value)
{
    DWORD word = value;
    char const* bytes = reinterpret_cast<char const*>(&word);
    switch (option)
    {
    case VXSocketOption::REUSE_ADDRESS:
        setsockopt(Sock(socket), SOL_SOCKET, SO_REUSEADDR, bytes, sizeof(word));
        return;
    case VXSocketOption::RECEIVE_TIMEOUT:
        setsockopt(Sock(socket), SOL_SOCKET, SO_RCVTIMEO, bytes, sizeof(word));
        return;
    case VXSocketOption::SEND_TIMEOUT:
        setsockopt(Sock(socket), SOL_SOCKET, SO_SNDTIMEO, bytes, sizeof(word));
        return;
    case VXSocketOption::V6_ONLY:
        setsockopt(Sock(socket), IPPROTO_IPV6, IPV6_V6ONLY, bytes, sizeof(word));
        return;
    }
}

int PlatformSocketBindPassive(VXSocketHandle socket, VXSocketKind kind, unsigned int port)
{
    VXSocketTriple triple = VXDescribeSocket(kind);
    ADDRINFOW hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_family = triple.iFamily;
    hints.ai_socktype = triple.iType;
    hints.ai_protocol = triple.iProtocol;
    ADDRINFOW* found = nullptr;
    if (LookUp(nullptr, port, hints, found) != 0)
        return -1;
    int result = bind(Sock(socket), found->ai_addr, static_cast<int>(found->ai_addrlen));
    int error = WSAGetLastError();
    FreeAddrInfoW(found);
    WSASetLastError(error);
    return result;
}

int PlatformSocketListen(VXSocketHandle socket, int backlog)
{
    return listen(Sock(socket), backlog);
}

VXSocketHandle PlatformSocketAccept(VXSocketHandle socket)
{
    SOCKET made = accept(Sock(socket), nullptr, nullptr);
    return made == INVALID_SOCKET ? VXSocketHandle{-1} : static_cast<VXSocketHandle>(made);
}

int PlatformSocketWaitReadable(VXSocketHandle socket, unsigned int milliseconds)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(Sock(socket), &readable);
    timeval wait{static_cast<long>(milliseconds / 1000),
                 static_cast<long>(milliseconds % 1000 * 1000)};
    return select(0, &readable, nullptr, nullptr, &wait);
}

int PlatformSocketConnect(VXSocketHandle& socket, wchar_t const* host, unsigned int port)
{
    socket = VXSocketHandle{-1};
    ADDRINFOW hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    ADDRINFOW* found = nullptr;
    if (LookUp(host, port, hints, found) != 0)
        return -1;
    SOCKET made = ::socket(found->ai_family, found->ai_socktype, found->ai_protocol);
    int result = made == INVALID_SOCKET
                     ? -1
                     : connect(made, found->ai_addr, static_cast<int>(found->ai_addrlen));
    int error = WSAGetLastError();
    FreeAddrInfoW(found);
    socket = made == INVALID_SOCKET ? VXSocketHandle{-1} : static_cast<VXSocketHandle>(made);
    WSASetLastError(error);
    return result;
}

int PlatformSocketSend(VXSocketHandle socket, char const* data, unsigned int size)
{
    return send(Sock(socket), data, Clamp(size), 0);
}

int PlatformSocketReceive(VXSocketHandle socket, char* data, unsigned int size)
{
    return recv(Sock(socket), data, Clamp(size), 0);
}

int PlatformSocketSendTo(VXSocketHandle socket, char const* data, unsigned int size,
                         sockaddr const* to)
{
    return sendto(Sock(socket), data, Clamp(size), 0, to, kInet4AddressSize);
}

int PlatformSocketReceiveFrom(VXSocketHandle socket, char* data, unsigned int size, sockaddr* from)
{
    int length = kInet4AddressSize;
    return recvfrom(Sock(socket), data, Clamp(size), 0, from, from ? &length : nullptr);
}

int PlatformSocketShutdown(VXSocketHandle socket)
{
    return shutdown(Sock(socket), SD_BOTH);
}

int PlatformSocketClose(VXSocketHandle socket)
{
    return closesocket(Sock(socket));
}
