// Singly linked list whose first node lives in the list object. A node is the item then
// pNext; further nodes come from MemoryManager. An empty list holds a zero item and no
// next node, so a list of one zero item reads as empty. The list never owns what its
// items point to. Not thread-safe: one owner at a time.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <new>

template <class T> class VXSimpleList : public VXHeapObject
{
public:
    struct Node
    {
        Node(T const& item, Node* next) : kItem(item), pNext(next) {}
        T kItem;
        Node* pNext;
    };

    class Iterator
    {
    public:
        explicit Iterator(Node const* node) : pNode(node) {}
        T const& operator*() const { return pNode->kItem; }
        Iterator& operator++()
        {
            pNode = pNode->pNext;
            return *this;
        }
        bool operator!=(Iterator const& other) const { return pNode != other.pNode; }

    private:
        Node const* pNode;
    };

    VXSimpleList() : kHead(T(), nullptr) {}
    ~VXSimpleList() { RemoveAll(); }
    VXSimpleList(VXSimpleList const&) = delete;
    VXSimpleList& operator=(VXSimpleList const&) = delete;

    bool QEmpty() const { return !kHead.pNext && kHead.kItem == T(); }
    // The first node, which the list object holds; its item is zero when empty.
    Node* QHead() { return &kHead; }
    Node const* QHead() const { return &kHead; }
    T const& QFirst() const { return kHead.kItem; }

    unsigned int QCount() const
    {
        if (QEmpty())
            return 0;
        unsigned int count = 0;
        for (Node const* node = &kHead; node; node = node->pNext)
            ++count;
        return count;
    }

    // Puts item first. False, with the list unchanged, when the heap had no room.
    bool AddHead(T const& item)
    {
        if (QEmpty())
        {
            kHead.kItem = item;
            return true;
        }
        Node* node = NewNode(kHead.kItem, kHead.pNext);
        if (!node)
            return false;
        kHead.kItem = item;
        kHead.pNext = node;
        return true;
    }

    // Puts item last. False, with the list unchanged, when the heap had no room.
    bool AddTail(T const& item)
    {
        if (QEmpty())
        {
            kHead.kItem = item;
            return true;
        }
        Node* node = NewNode(item, nullptr);
        if (!node)
            return false;
        Node* last = &kHead;
        while (last->pNext)
            last = last->pNext;
        last->pNext = node;
        return true;
    }

    // Takes the first item away and gives it; a zero item when the list is empty.
    T RemoveHead()
    {
        T item = kHead.kItem;
        Node* next = kHead.pNext;
        if (!next)
        {
            kHead.kItem = T();
            return item;
        }
        kHead.kItem = next->kItem;
        kHead.pNext = next->pNext;
        DeleteNode(next);
        return item;
    }

    // Removes the first item equal to item; false when there is none.
    bool Remove(T const& item)
    {
        if (QEmpty())
            return false;
        if (kHead.kItem == item)
        {
            RemoveHead();
            return true;
        }
        for (Node* prev = &kHead; prev->pNext; prev = prev->pNext)
        {
            Node* node = prev->pNext;
            if (node->kItem == item)
            {
                prev->pNext = node->pNext;
                DeleteNode(node);
                return true;
            }
        }
        return false;
    }

    // Frees every node the list allocated and leaves it empty.
    void RemoveAll()
    {
        Node* node = kHead.pNext;
        while (node)
        {
            Node* next = node->pNext;
            DeleteNode(node);
            node = next;
        }
        kHead.kItem = T();
        kHead.pNext = nullptr;
    }

    Iterator begin() const { return Iterator(QEmpty() ? nullptr : &kHead); }
    Iterator end() const { return Iterator(nullptr); }

private:
    static Node* NewNode(T const& item, Node* next)
    {
        void* block = MemoryManager::Instance().Allocate(sizeof(Node));
        return block ? ::new (block) Node(item, next) : nullptr;
    }
    static void DeleteNode(Node* node)
    {
        node->~Node();
        MemoryManager::Instance().Deallocate(node);
    }

    Node kHead;
};
