// Intrusive red-black tree over TreeNode: the nodes live in the requests, the tree is one
// root word. Keys are the caller's: Insert takes a three-way comparison. Not thread-safe;
// the control thread alone uses the trees.
#pragma once

#include "streamer/VXStreamerTypes.h"

namespace VXSystemFileStreamer
{
namespace Tree
{
// < 0, 0 or > 0 as a sorts before, with or after b.
using Compare = int (*)(TreeNode const* a, TreeNode const* b);

// Links node into the tree; gives the node already holding an equal key (and inserts
// nothing) or null.
TreeNode* Insert(TreeNode** root, TreeNode* node, Compare compare);
void Erase(TreeNode* node);
// newNode takes oldNode's place: children, parent, colour and root entry.
void Replace(TreeNode* oldNode, TreeNode* newNode);
TreeNode* First(TreeNode* root);
TreeNode* Next(TreeNode* node);
// Checks the red-black rules and parent links; gives the black height, or -1.
int Validate(TreeNode const* root);
} // namespace Tree
} // namespace VXSystemFileStreamer
