// VXDatagramSocket: the shared UDP port and its unbounded sends and receives.
#include "vxsystem/VXDatagramSocket.h"

#include "net/VXSocketPlatform.h"

VXDatagramSocket::VXDatagramSocket() : hSocket(VX_INVALID_SOCKET)
{
    Open();
}

void VXDatagramSocket::Create()
{
    hSocket = PlatformSocketCreate(VXSocketKind::DATAGRAM_V4);
}

void VXDatagramSocket::Open()
{
    Create();
    if (!IsValid())
        return;
    // The first option only matters where the socket is dual-stack; elsewhere it fails
    // harmlessly, like every set-up call here.
    PlatformSocketSetOption(hSocket, VXSocketOption::V6_ONLY, 0);
    PlatformSocketSetOption(hSocket, VXSocketOption::REUSE_ADDRESS, 1);
    PlatformSocketSetOption(hSocket, VXSocketOption::RECEIVE_TIMEOUT, 0);
    PlatformSocketSetOption(hSocket, VXSocketOption::SEND_TIMEOUT, 0);
    PlatformSocketBindPassive(hSocket, VXSocketKind::DATAGRAM_V4, uiDatagramPort);
}

void VXDatagramSocket::Close()
{
    if (hSocket != VX_INVALID_SOCKET)
        PlatformSocketClose(hSocket);
    hSocket = VX_INVALID_SOCKET;
}

void VXDatagramSocket::ReceiveFrom(VXSocketResult& result, char* data, unsigned int size,
                                   uint64_t& received, sockaddr* from)
{
    int count = PlatformSocketReceiveFrom(hSocket, data, size, from);
    result = VXSocketResult(count);
    received = result == VXSocketResult::SR_OK ? static_cast<uint64_t>(count) : 0;
}

void VXDatagramSocket::SendTo(VXSocketResult& result, char const* data, unsigned int size,
                              sockaddr const* to)
{
    result = VXSocketResult(PlatformSocketSendTo(hSocket, data, size, to));
}
