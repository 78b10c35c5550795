// VXListenSocket: option order, passive bind, and the Accept that waits at most its time-out.
#include "vxsystem/VXListenSocket.h"

#include "net/VXSocketPlatform.h"

VXListenSocket::VXListenSocket(unsigned short port, unsigned int acceptTimeout,
                               unsigned int sendTimeout, unsigned int receiveTimeout)
    : VXListenSocket(VXFixedString(), port, acceptTimeout, sendTimeout, receiveTimeout)
{
}

VXListenSocket::VXListenSocket(VXFixedString const& name, unsigned short port,
                               unsigned int acceptTimeout, unsigned int sendTimeout,
                               unsigned int receiveTimeout)
    : sName(name), usPort(port), uiAcceptTimeout(acceptTimeout), uiSendTimeout(sendTimeout),
      uiReceiveTimeout(receiveTimeout)
{
    Open();
}

void VXListenSocket::Create()
{
    hSocket = PlatformSocketCreate(VXSocketKind::STREAM_V4);
}

void VXListenSocket::Open()
{
    Create();
    if (!IsValid())
        return;
    // Set-up results are not kept: a failure shows at the first Accept.
    PlatformSocketSetOption(hSocket, VXSocketOption::REUSE_ADDRESS, 1);
    PlatformSocketSetOption(hSocket, VXSocketOption::RECEIVE_TIMEOUT, uiReceiveTimeout);
    PlatformSocketSetOption(hSocket, VXSocketOption::SEND_TIMEOUT, uiSendTimeout);
    PlatformSocketBindPassive(hSocket, VXSocketKind::STREAM_V4, usPort);
    PlatformSocketListen(hSocket, 1);
}

void VXListenSocket::Reopen()
{
    Shutdown();
    Close();
    Open();
}

void VXListenSocket::Accept(VXSocketResult& result, VXSocketHandle& accepted)
{
    accepted = VX_INVALID_SOCKET;
    int ready = PlatformSocketWaitReadable(hSocket, uiAcceptTimeout);
    if (ready == 0)
    {
        result = VXSocketResult::SR_TIMED_OUT;
        return;
    }
    if (ready > 0)
        accepted = PlatformSocketAccept(hSocket);
    result = accepted != VX_INVALID_SOCKET ? VXSocketResult::SR_OK : VXSocketResult(-1);
}
