// VXSocketServer: the IPv6 listener and its one blocking accept.
#include "vxsystem/VXSocketServer.h"

#include "net/VXSocketPlatform.h"

void VXSocketServer::Create()
{
    hListenSocket = PlatformSocketCreate(VXSocketKind::STREAM_V6);
}

void VXSocketServer::Bind(unsigned int port)
{
    PlatformSocketBindPassive(hListenSocket, VXSocketKind::STREAM_V6, port);
}

void VXSocketServer::Listen(unsigned int port)
{
    Create();
    if (hListenSocket == VX_INVALID_SOCKET)
        return;
    Bind(port);
    PlatformSocketListen(hListenSocket, 1);
    Accept();
}

void VXSocketServer::Accept()
{
    hSocket = PlatformSocketAccept(hListenSocket);
}

void VXSocketServer::OnShutdown()
{
    PlatformSocketShutdown(hListenSocket);
}

void VXSocketServer::OnClose()
{
    if (hListenSocket != VX_INVALID_SOCKET)
        PlatformSocketClose(hListenSocket);
    hListenSocket = VX_INVALID_SOCKET;
}
