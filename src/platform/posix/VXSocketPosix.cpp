// POSIX half of the sockets: BSD socket calls, errno mapped to the result numbers, wide
// host names turned into UTF-8 for getaddrinfo.
#include "net/VXSocketPlatform.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/VXSocketTriple.h"

#include <cerrno>
#include <climits>
#include <cstdio>

namespace
{
#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_NOSIGNAL; // a dropped peer is an error, not SIGPIPE
#else
constexpr int kSendFlags = 0;
#endif
constexpr socklen_t kInet4AddressSize = 16;

int Fd(VXSocketHandle socket)
{
    return socket < 0 || socket > INT_MAX ? -1 : static_cast<int>(socket);
}

size_t Clamp(unsigned int size)
{
    return size > INT_MAX ? INT_MAX : size;
}

// Platforms without MSG_NOSIGNAL keep SIGPIPE away per socket instead.
VXSocketHandle Prepare(int fd)
{
#if defined(SO_NOSIGPIPE)
    int on = 1;
    if (fd >= 0)
        setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof(on));
#endif
    return fd;
}

// UTF-8 of a wide name (UTF-32 here); false when it is not valid text or does not fit.
bool ToUtf8(wchar_t const* text, char* out, size_t outSize)
{
    size_t used = 0;
    for (; *text; ++text)
    {
        auto c = static_cast<uint32_t>(*text);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return false;
        int extra = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        if (used + extra + 2 > outSize)
            return false;
        static constexpr unsigned char kLead[] = {0x00, 0xC0, 0xE0, 0xF0};
        out[used++] = static_cast<char>(kLead[extra] | (c >> (6 * extra)));
        for (int i = extra - 1; i >= 0; --i)
            out[used++] = static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
    }
    out[used] = '\0';
    return true;
}

template <typename Call> auto Retry(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

// getaddrinfo reports through its own codes; the seam speaks errno.
int LookUp(char const* node, unsigned int port, addrinfo const& hints, addrinfo*& found)
{
    char service[16];
    std::snprintf(service, sizeof(service), "%u", port);
    found = nullptr;
    if (getaddrinfo(node, service, &hints, &found) == 0 && found)
        return 0;
    errno = EADDRNOTAVAIL;
    return -1;
}
} // namespace

int PlatformSocketStartup()
{
    return 0;
}

void PlatformSocketCleanup() {}

int PlatformSocketLastResult()
{
    switch (errno)
    {
    case EINPROGRESS:
    case EALREADY:
        return VX_SR_WOULD_BLOCK;
#if EWOULDBLOCK != EAGAIN
    case EWOULDBLOCK:
#endif
    case EAGAIN: // blocking sockets only say this when their time-out ran out
    case ETIMEDOUT:
        return VX_SR_TIMED_OUT;
    case ECONNRESET:
    case EPIPE:
        return VX_SR_CONNECTION_RESET;
    case ENOTCONN:
        return VX_SR_NOT_CONNECTED;
    default:
        return VX_SR_ERROR;
    }
}

VXSocketHandle PlatformSocketCreate(VXSocketKind kind)
{
    VXSocketTriple triple = VXDescribeSocket(kind);
    int type = triple.iType;
#ifdef SOCK_CLOEXEC
    type |= SOCK_CLOEXEC;
#endif
    return Prepare(socket(triple.iFamily, type, triple.iProtocol));
}

void PlatformSocketSetOption(VXSocketHandle socket, VXSocketOption option, unsigned int value)
{
    int fd = Fd(socket);
    int flag = value ? 1 : 0;
    timeval wait{static_cast<time_t>(value / 1000), static_cast<suseconds_t>(value % 1000 * 1000)};
    switch (option)
    {
    case VXSocketOption::REUSE_ADDRESS:
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &flag, sizeof(flag));
#if defined(SO_REUSEPORT) && !defined(__linux__)
        // BSD systems share a datagram port only with this one as well.
        setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &flag, sizeof(flag));
#endif
        return;
    case VXSocketOption::RECEIVE_TIMEOUT:
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait));
        return;
    case VXSocketOption::SEND_TIMEOUT:
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof(wait));
        return;
    case VXSocketOption::V6_ONLY:
        setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &flag, sizeof(flag));
        return;
    }
}

int PlatformSocketBindPassive(VXSocketHandle socket, VXSocketKind kind, unsigned int port)
{
    VXSocketTriple triple = VXDescribeSocket(kind);
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_family = triple.iFamily;
    hints.ai_socktype = triple.iType;
    hints.ai_protocol = triple.iProtocol;
    addrinfo* found = nullptr;
    if (LookUp(nullptr, port, hints, found) != 0)
        return -1;
    int result = bind(Fd(socket), found->ai_addr, found->ai_addrlen);
    int error = errno;
    freeaddrinfo(found);
    errno = error;
    return result;
}

int PlatformSocketListen(VXSocketHandle socket, int backlog)
{
    return listen(Fd(socket), backlog);
}

VXSocketHandle PlatformSocketAccept(VXSocketHandle socket)
{
    int fd = Fd(socket);
#ifdef __linux__
    return Prepare(Retry([&] { return accept4(fd, nullptr, nullptr, SOCK_CLOEXEC); }));
#else
    return Prepare(Retry([&] { return accept(fd, nullptr, nullptr); }));
#endif
}

int PlatformSocketWaitReadable(VXSocketHandle socket, unsigned int milliseconds)
{
    int fd = Fd(socket);
    // select cannot watch a descriptor past its fixed set size.
    if (fd < 0 || fd >= FD_SETSIZE)
    {
        errno = EBADF;
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval wait{static_cast<time_t>(milliseconds / 1000),
                 static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
    return select(fd + 1, &readable, nullptr, nullptr, &wait);
}

int PlatformSocketConnect(VXSocketHandle& socket, wchar_t const* host, unsigned int port)
{
    socket = VXSocketHandle{-1};
    char node[1024];
    if (host && !ToUtf8(host, node, sizeof(node)))
    {
        errno = EINVAL;
        return -1;
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* found = nullptr;
    if (LookUp(host ? node : nullptr, port, hints, found) != 0)
        return -1;
    int type = found->ai_socktype;
#ifdef SOCK_CLOEXEC
    type |= SOCK_CLOEXEC;
#endif
    int fd = static_cast<int>(Prepare(::socket(found->ai_family, type, found->ai_protocol)));
    int result = fd < 0 ? -1 : connect(fd, found->ai_addr, found->ai_addrlen);
    int error = errno;
    freeaddrinfo(found);
    socket = fd;
    errno = error;
    return result;
}

int PlatformSocketSend(VXSocketHandle socket, char const* data, unsigned int size)
{
    int fd = Fd(socket);
    return static_cast<int>(Retry([&] { return send(fd, data, Clamp(size), kSendFlags); }));
}

int PlatformSocketReceive(VXSocketHandle socket, char* data, unsigned int size)
{
    int fd = Fd(socket);
    return static_cast<int>(Retry([&] { return recv(fd, data, Clamp(size), 0); }));
}

int PlatformSocketSendTo(VXSocketHandle socket, char const* data, unsigned int size,
                         sockaddr const* to)
{
    int fd = Fd(socket);
    return static_cast<int>(
        Retry([&] { return sendto(fd, data, Clamp(size), kSendFlags, to, kInet4AddressSize); }));
}

int PlatformSocketReceiveFrom(VXSocketHandle socket, char* data, unsigned int size, sockaddr* from)
{
    int fd = Fd(socket);
    return static_cast<int>(Retry(
        [&]
        {
            socklen_t length = kInet4AddressSize;
            return recvfrom(fd, data, Clamp(size), 0, from, from ? &length : nullptr);
        }));
}

int PlatformSocketShutdown(VXSocketHandle socket)
{
    return shutdown(Fd(socket), SHUT_RDWR);
}

int PlatformSocketClose(VXSocketHandle socket)
{
    return close(Fd(socket));
}
