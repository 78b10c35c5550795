#include "streamer/VXStreamerOrder.h"

#include "streamer/VXStreamerTree.h"

#include <cstddef>

namespace VXSystemFileStreamer
{
namespace
{
template <class T> int Cmp(T a, T b)
{
    return a < b ? -1 : (a > b ? 1 : 0);
}

int CompareOrder(TreeNode const* a, TreeNode const* b)
{
    return Cmp(RequestOrder::FromOrder(const_cast<TreeNode*>(a))->QOrderKey(),
               RequestOrder::FromOrder(const_cast<TreeNode*>(b))->QOrderKey());
}

int ComparePosition(TreeNode const* a, TreeNode const* b)
{
    ReadRequest const* ra = RequestOrder::FromPosition(const_cast<TreeNode*>(a));
    ReadRequest const* rb = RequestOrder::FromPosition(const_cast<TreeNode*>(b));
    if (ra->uiFileID != rb->uiFileID)
        return Cmp(ra->uiFileID, rb->uiFileID);
    return Cmp(ra->uiOffset, rb->uiOffset);
}

void Unring(ReadRequest* request)
{
    request->pPrevSame->pNextSame = request->pNextSame;
    request->pNextSame->pPrevSame = request->pPrevSame;
}
} // namespace

ReadRequest* RequestOrder::FromOrder(TreeNode* node)
{
    return node ? reinterpret_cast<ReadRequest*>(reinterpret_cast<char*>(node) -
                                                 offsetof(ReadRequest, OrderLink))
                : nullptr;
}

ReadRequest* RequestOrder::FromPosition(TreeNode* node)
{
    return node ? reinterpret_cast<ReadRequest*>(reinterpret_cast<char*>(node) -
                                                 offsetof(ReadRequest, PositionLink))
                : nullptr;
}

void RequestOrder::EnqueueRequest(ReadRequest* request)
{
    ReadRequest* head =
        FromPosition(Tree::Insert(&pPositionRoot, &request->PositionLink, ComparePosition));
    if (!head)
    {
        request->pPrevSame = request->pNextSame = request;
        request->bTreeHead = true;
    }
    else
    {
        request->pNextSame = head;
        request->pPrevSame = head->pPrevSame;
        head->pPrevSame->pNextSame = request;
        head->pPrevSame = request;
        if (request->uiPriority >= head->uiPriority)
        {
            request->bTreeHead = false;
            request->uiPriority = head->uiPriority;
        }
        else
        {
            Tree::Replace(&head->PositionLink, &request->PositionLink);
            head->bTreeHead = false;
            request->bTreeHead = true;
        }
    }
    Tree::Insert(&pOrderRoot, &request->OrderLink, CompareOrder);
    if (!pMostUrgent || request->QOrderKey() < pMostUrgent->QOrderKey())
        pMostUrgent = request;
}

ReadRequest* RequestOrder::RemoveRequest(ReadRequest* request)
{
    ReadRequest* next = request->pNextSame != request ? request->pNextSame : nullptr;
    if (request->bTreeHead)
    {
        if (next)
        {
            Tree::Replace(&request->PositionLink, &next->PositionLink);
            next->bTreeHead = true;
            Unring(request);
        }
        else
        {
            Tree::Erase(&request->PositionLink);
        }
        request->bTreeHead = false;
    }
    else if (next)
    {
        Unring(request);
    }
    if (request == pMostUrgent)
        pMostUrgent = FromOrder(Tree::Next(&request->OrderLink));
    Tree::Erase(&request->OrderLink);
    request->pPrevSame = request->pNextSame = nullptr;
    if (request == pSelected)
        pSelected = nullptr;
    return next;
}

ReadRequest* RequestOrder::LowerBound(unsigned int fileID, uint64_t offset) const
{
    TreeNode* node = pPositionRoot;
    ReadRequest* best = nullptr;
    while (node)
    {
        ReadRequest* here = FromPosition(node);
        if (here->uiFileID == fileID && here->uiOffset == offset)
            return here;
        bool below =
            here->uiFileID < fileID || (here->uiFileID == fileID && here->uiOffset < offset);
        if (below)
        {
            node = node->pRight;
            continue;
        }
        best = here;
        node = node->pLeft;
    }
    return best;
}

ReadRequest* RequestOrder::NextPosition(ReadRequest* head)
{
    return FromPosition(Tree::Next(&head->PositionLink));
}

ReadRequest* RequestOrder::SelectRequest(unsigned int lastFile, uint64_t lastOffset)
{
    if (!pMostUrgent)
        return pSelected = nullptr;
    ReadRequest* choice = nullptr;
    ReadRequest* ahead = LowerBound(lastFile, lastOffset);
    if (ahead && ahead->uiFileID == lastFile &&
        (ahead->uiPriority == pMostUrgent->uiPriority ||
         ahead->uiOffset - lastOffset < uiBlockSize))
        choice = ahead;
    if (!choice)
    {
        ReadRequest* lowest = LowerBound(pMostUrgent->uiFileID, 0);
        choice = lowest && lowest->uiPriority == pMostUrgent->uiPriority ? lowest : pMostUrgent;
    }
    return pSelected = choice;
}

void RequestOrder::Clear()
{
    *this = RequestOrder();
}
} // namespace VXSystemFileStreamer
