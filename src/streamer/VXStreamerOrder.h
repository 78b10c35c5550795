// The queued requests of the streaming read service in two trees: by urgency (priority,
// then arrival) and by position (file, then offset), with same-position requests on a
// ring behind the one in the position tree. SelectRequest is the elevator that picks the
// next read from them. Control thread only; requests are not owned.
#pragma once

#include "streamer/VXStreamerTypes.h"

namespace VXSystemFileStreamer
{
class RequestOrder
{
public:
    void EnqueueRequest(ReadRequest* request);
    // Takes the request out of both trees; gives the next request of its position or null.
    ReadRequest* RemoveRequest(ReadRequest* request);
    // Position-tree head with the smallest (file, offset) at or above the given pair.
    ReadRequest* LowerBound(unsigned int fileID, uint64_t offset) const;
    ReadRequest* SelectRequest(unsigned int lastFile, uint64_t lastOffset);
    // The position-tree head after this one, or null.
    static ReadRequest* NextPosition(ReadRequest* head);
    void Clear();

    bool QEmpty() const { return pMostUrgent == nullptr; }
    ReadRequest* QMostUrgent() const { return pMostUrgent; }
    ReadRequest* QSelected() const { return pSelected; }
    TreeNode* QOrderRoot() const { return pOrderRoot; }
    TreeNode* QPositionRoot() const { return pPositionRoot; }

    static ReadRequest* FromOrder(TreeNode* node);
    static ReadRequest* FromPosition(TreeNode* node);

private:
    ReadRequest* pSelected = nullptr;
    TreeNode* pOrderRoot = nullptr;
    ReadRequest* pMostUrgent = nullptr;
    TreeNode* pPositionRoot = nullptr;
};
} // namespace VXSystemFileStreamer
