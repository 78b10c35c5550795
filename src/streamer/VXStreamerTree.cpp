#include "streamer/VXStreamerTree.h"

#include <initializer_list>

namespace VXSystemFileStreamer::Tree
{
namespace
{
constexpr uintptr_t BLACK = 1;

TreeNode* Parent(TreeNode const* node)
{
    return reinterpret_cast<TreeNode*>(node->uiParentColour & ~BLACK);
}
bool IsBlack(TreeNode const* node)
{
    return !node || (node->uiParentColour & BLACK);
}
bool IsRed(TreeNode const* node)
{
    return !IsBlack(node);
}
void SetParent(TreeNode* node, TreeNode* parent)
{
    node->uiParentColour = reinterpret_cast<uintptr_t>(parent) | (node->uiParentColour & BLACK);
}
void SetBlack(TreeNode* node, bool black)
{
    node->uiParentColour = (node->uiParentColour & ~BLACK) | (black ? BLACK : 0);
}

void ReplaceChild(TreeNode* parent, TreeNode* oldChild, TreeNode* newChild, TreeNode** root)
{
    if (!parent)
        *root = newChild;
    else if (parent->pLeft == oldChild)
        parent->pLeft = newChild;
    else
        parent->pRight = newChild;
}

void RotateLeft(TreeNode* node, TreeNode** root)
{
    TreeNode* pivot = node->pRight;
    node->pRight = pivot->pLeft;
    if (pivot->pLeft)
        SetParent(pivot->pLeft, node);
    ReplaceChild(Parent(node), node, pivot, root);
    SetParent(pivot, Parent(node));
    pivot->pLeft = node;
    SetParent(node, pivot);
}

void RotateRight(TreeNode* node, TreeNode** root)
{
    TreeNode* pivot = node->pLeft;
    node->pLeft = pivot->pRight;
    if (pivot->pRight)
        SetParent(pivot->pRight, node);
    ReplaceChild(Parent(node), node, pivot, root);
    SetParent(pivot, Parent(node));
    pivot->pRight = node;
    SetParent(node, pivot);
}

void InsertFixup(TreeNode* node, TreeNode** root)
{
    TreeNode* parent;
    while ((parent = Parent(node)) && IsRed(parent))
    {
        TreeNode* grand = Parent(parent);
        bool left = parent == grand->pLeft;
        TreeNode* uncle = left ? grand->pRight : grand->pLeft;
        if (IsRed(uncle))
        {
            SetBlack(parent, true);
            SetBlack(uncle, true);
            SetBlack(grand, false);
            node = grand;
            continue;
        }
        if (node == (left ? parent->pRight : parent->pLeft))
        {
            left ? RotateLeft(parent, root) : RotateRight(parent, root);
            node = parent;
            parent = Parent(node);
        }
        SetBlack(parent, true);
        SetBlack(grand, false);
        left ? RotateRight(grand, root) : RotateLeft(grand, root);
    }
    SetBlack(*root, true);
}

void Transplant(TreeNode* oldNode, TreeNode* newNode, TreeNode** root)
{
    ReplaceChild(Parent(oldNode), oldNode, newNode, root);
    if (newNode)
        SetParent(newNode, Parent(oldNode));
}

void EraseFixup(TreeNode* node, TreeNode* parent, TreeNode** root)
{
    while (node != *root && IsBlack(node))
    {
        bool left = node == parent->pLeft;
        TreeNode* sibling = left ? parent->pRight : parent->pLeft;
        if (IsRed(sibling))
        {
            SetBlack(sibling, true);
            SetBlack(parent, false);
            left ? RotateLeft(parent, root) : RotateRight(parent, root);
            sibling = left ? parent->pRight : parent->pLeft;
        }
        if (IsBlack(sibling->pLeft) && IsBlack(sibling->pRight))
        {
            SetBlack(sibling, false);
            node = parent;
            parent = Parent(node);
            continue;
        }
        TreeNode* outer = left ? sibling->pRight : sibling->pLeft;
        if (IsBlack(outer))
        {
            SetBlack(left ? sibling->pLeft : sibling->pRight, true);
            SetBlack(sibling, false);
            left ? RotateRight(sibling, root) : RotateLeft(sibling, root);
            sibling = left ? parent->pRight : parent->pLeft;
        }
        SetBlack(sibling, IsBlack(parent));
        SetBlack(parent, true);
        SetBlack(left ? sibling->pRight : sibling->pLeft, true);
        left ? RotateLeft(parent, root) : RotateRight(parent, root);
        node = *root;
        break;
    }
    if (node)
        SetBlack(node, true);
}
} // namespace

TreeNode* Insert(TreeNode** root, TreeNode* node, Compare compare)
{
    TreeNode* parent = nullptr;
    TreeNode** link = root;
    while (*link)
    {
        parent = *link;
        int order = compare(node, parent);
        if (order == 0)
            return parent;
        link = order < 0 ? &parent->pLeft : &parent->pRight;
    }
    node->pLeft = node->pRight = nullptr;
    node->ppTree = root;
    node->uiParentColour = reinterpret_cast<uintptr_t>(parent); // red
    *link = node;
    InsertFixup(node, root);
    return nullptr;
}

void Erase(TreeNode* node)
{
    TreeNode** root = node->ppTree;
    bool removedBlack = IsBlack(node);
    TreeNode* child;
    TreeNode* childParent;
    if (!node->pLeft || !node->pRight)
    {
        child = node->pLeft ? node->pLeft : node->pRight;
        childParent = Parent(node);
        Transplant(node, child, root);
    }
    else
    {
        TreeNode* next = First(node->pRight);
        removedBlack = IsBlack(next);
        child = next->pRight;
        childParent = next;
        if (Parent(next) != node)
        {
            childParent = Parent(next);
            Transplant(next, next->pRight, root);
            next->pRight = node->pRight;
            SetParent(next->pRight, next);
        }
        Transplant(node, next, root);
        next->pLeft = node->pLeft;
        SetParent(next->pLeft, next);
        SetBlack(next, IsBlack(node));
    }
    node->pLeft = node->pRight = nullptr;
    node->uiParentColour = 0;
    node->ppTree = nullptr;
    if (removedBlack)
        EraseFixup(child, childParent, root);
}

void Replace(TreeNode* oldNode, TreeNode* newNode)
{
    *newNode = *oldNode;
    ReplaceChild(Parent(oldNode), oldNode, newNode, oldNode->ppTree);
    if (newNode->pLeft)
        SetParent(newNode->pLeft, newNode);
    if (newNode->pRight)
        SetParent(newNode->pRight, newNode);
    *oldNode = TreeNode{};
}

TreeNode* First(TreeNode* root)
{
    if (!root)
        return nullptr;
    while (root->pLeft)
        root = root->pLeft;
    return root;
}

TreeNode* Next(TreeNode* node)
{
    if (node->pRight)
        return First(node->pRight);
    TreeNode* parent = Parent(node);
    while (parent && node == parent->pRight)
    {
        node = parent;
        parent = Parent(node);
    }
    return parent;
}

int Validate(TreeNode const* root)
{
    if (!root)
        return 1;
    for (TreeNode const* child : {root->pLeft, root->pRight})
        if (child && (Parent(child) != root || (IsRed(root) && IsRed(child))))
            return -1;
    int left = Validate(root->pLeft);
    int right = Validate(root->pRight);
    if (left < 0 || left != right)
        return -1;
    return left + (IsBlack(root) ? 1 : 0);
}
} // namespace VXSystemFileStreamer::Tree
