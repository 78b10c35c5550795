// Generic half of the stream sockets: results, Send/Receive/Shutdown/Close and Connect.
#include "vxsystem/VXSocket.h"

#include "net/VXSocketPlatform.h"

static_assert(VX_SR_WOULD_BLOCK == VXSocketResult::SR_WOULD_BLOCK &&
              VX_SR_CONNECTION_RESET == VXSocketResult::SR_CONNECTION_RESET &&
              VX_SR_NOT_CONNECTED == VXSocketResult::SR_NOT_CONNECTED &&
              VX_SR_TIMED_OUT == VXSocketResult::SR_TIMED_OUT &&
              VX_SR_ERROR == VXSocketResult::SR_ERROR && VX_SR_OK == VXSocketResult::SR_OK);

VXSocketResult::VXSocketResult(int callResult)
    : iValue(callResult == -1 ? PlatformSocketLastResult() : SR_OK)
{
}

int VXSocket::Startup()
{
    return PlatformSocketStartup();
}

void VXSocket::Cleanup()
{
    PlatformSocketCleanup();
}

void VXSocket::Send(VXSocketResult& result, char const* data, unsigned int size)
{
    result = VXSocketResult(PlatformSocketSend(hSocket, data, size));
}

void VXSocket::Receive(VXSocketResult& result, char* data, unsigned int size, uint64_t& received)
{
    int count = PlatformSocketReceive(hSocket, data, size);
    result = VXSocketResult(count);
    received = result == VXSocketResult::SR_OK ? static_cast<uint64_t>(count) : 0;
}

void VXSocket::Shutdown()
{
    PlatformSocketShutdown(hSocket);
    OnShutdown();
}

void VXSocket::Close()
{
    if (hSocket != VX_INVALID_SOCKET)
        PlatformSocketClose(hSocket);
    hSocket = VX_INVALID_SOCKET;
    OnClose();
}

void VXSocketClient::Connect(VXSocketResult& result, wchar_t const* host, unsigned int port)
{
    VXSocketHandle handle = VX_INVALID_SOCKET;
    result = VXSocketResult(PlatformSocketConnect(handle, host, port));
    if (result == VXSocketResult::SR_OK)
    {
        hSocket = handle;
        return;
    }
    if (handle != VX_INVALID_SOCKET)
        PlatformSocketClose(handle);
    hSocket = VX_INVALID_SOCKET;
}
