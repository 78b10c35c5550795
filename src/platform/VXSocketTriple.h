// The system's family, type and protocol for each socket kind. Winsock and POSIX name
// them alike, so both platform halves share this table; include it after the system's
// socket headers.
#pragma once

#include "net/VXSocketPlatform.h"

struct VXSocketTriple
{
    int iFamily;
    int iType;
    int iProtocol;
};

inline VXSocketTriple VXDescribeSocket(VXSocketKind kind)
{
    switch (kind)
    {
    case VXSocketKind::STREAM_V4:
        return {AF_INET, SOCK_STREAM, IPPROTO_TCP};
    case VXSocketKind::STREAM_V6:
        return {AF_INET6, SOCK_STREAM, IPPROTO_TCP};
    case VXSocketKind::DATAGRAM_V4:
        break;
    }
    return {AF_INET, SOCK_DGRAM, IPPROTO_UDP};
}
