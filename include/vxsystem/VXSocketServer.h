// VXSocketServer: one IPv6 listening socket that waits, blocking, for one connection; the
// accepted connection is the VXSocket part (Send/Receive). Shutdown and Close take the
// listening socket down too. Closes nothing on destruction; one thread at a time, except
// that Shutdown from another thread wakes a blocked Listen or Accept.
#pragma once

#include "vxsystem/VXSocket.h"

class VXSocketServer : public VXSocket
{
public:
    VXSocketServer() : hListenSocket(VX_INVALID_SOCKET) {}

    // Create, Bind, listen with a backlog of 1, then Accept.
    void Listen(unsigned int port);
    // Only the listening socket.
    void Create();
    // To port on every local IPv6 address.
    void Bind(unsigned int port);
    // Blocks until a connection comes; IsValid tells whether one did.
    void Accept();

protected:
    void OnShutdown() override;
    void OnClose() override;

private:
    VXSocketHandle hListenSocket; // -1 when there is none
};
