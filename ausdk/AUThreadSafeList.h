// A list that any thread may change and only the render thread reads. Changes
// are pushed as requests on a lock-free stack and applied by the render thread
// at its next Update; nodes are recycled through a lock-free free list, so
// neither side allocates once enough nodes exist.
#pragma once

#include <atomic>

#include "ausdk/AUUtility.h"

namespace ausdk {

template <typename T>
class AUThreadSafeList {
 public:
  enum class EventType : UInt32 { Unknown = 0, Add = 1, Remove = 2, Clear = 3 };

  struct Node {
    Node* mNext = nullptr;
    EventType mEventType = EventType::Unknown;
    T mObject{};
  };

  AUThreadSafeList() = default;
  AUThreadSafeList(const AUThreadSafeList&) = delete;
  AUThreadSafeList& operator=(const AUThreadSafeList&) = delete;
  ~AUThreadSafeList() {
    FreeAll(mActiveList);
    FreeAll(mPendingList.load(std::memory_order_acquire));
    FreeAll(mFreeList.load(std::memory_order_acquire));
  }

  // [any thread]
  void Add(const T& object) { Request(EventType::Add, object); }
  // [any thread]
  void Remove(const T& object) { Request(EventType::Remove, object); }
  // [any thread]
  void Clear() { Request(EventType::Clear, T{}); }

  // [render thread] Applies the requests made since the last Update, in the order they were made.
  void Update() {
    Node* requests = mPendingList.exchange(nullptr, std::memory_order_acq_rel);
    Node* reversed = nullptr;
    while (requests != nullptr) {
      Node* next = requests->mNext;
      requests->mNext = reversed;
      reversed = requests;
      requests = next;
    }
    while (reversed != nullptr) {
      Node* request = reversed;
      reversed = reversed->mNext;
      Apply(request);
    }
  }

  // [render thread] Walks the active list.
  class iterator {
   public:
    explicit iterator(Node* node) : mNode(node) {}
    T& operator*() const { return mNode->mObject; }
    iterator& operator++() {
      mNode = mNode->mNext;
      return *this;
    }
    bool operator==(const iterator& other) const { return mNode == other.mNode; }
    bool operator!=(const iterator& other) const { return mNode != other.mNode; }

   private:
    Node* mNode;
  };
  [[nodiscard]] iterator begin() const { return iterator(mActiveList); }
  [[nodiscard]] iterator end() const { return iterator(nullptr); }

 private:
  void Request(EventType type, const T& object) {
    Node* node = PopFree();
    if (node == nullptr) {
      node = new Node();
    }
    node->mEventType = type;
    node->mObject = object;
    Push(mPendingList, node);
  }

  void Apply(Node* request) {
    switch (request->mEventType) {
      case EventType::Add: {
        Node** link = &mActiveList;
        while (*link != nullptr) {
          if ((*link)->mObject == request->mObject) {
            Push(mFreeList, request);
            return;
          }
          link = &(*link)->mNext;
        }
        request->mNext = nullptr;
        *link = request;
        return;
      }
      case EventType::Remove: {
        for (Node** link = &mActiveList; *link != nullptr; link = &(*link)->mNext) {
          if ((*link)->mObject == request->mObject) {
            Node* found = *link;
            *link = found->mNext;
            Push(mFreeList, found);
            break;
          }
        }
        Push(mFreeList, request);
        return;
      }
      case EventType::Clear: {
        while (mActiveList != nullptr) {
          Node* node = mActiveList;
          mActiveList = node->mNext;
          Push(mFreeList, node);
        }
        Push(mFreeList, request);
        return;
      }
      default:
        LogError("Unknown AUThreadSafeList event type");
        Push(mFreeList, request);
        return;
    }
  }

  static void Push(std::atomic<Node*>& head, Node* node) {
    Node* top = head.load(std::memory_order_relaxed);
    do {
      node->mNext = top;
    } while (!head.compare_exchange_weak(top, node, std::memory_order_release, std::memory_order_relaxed));
  }

  // Swaps the whole free list out, so no other popper can see a node twice,
  // takes its first node and pushes the rest back.
  Node* PopFree() {
    Node* taken = mFreeList.exchange(nullptr, std::memory_order_acquire);
    if (taken == nullptr) {
      return nullptr;
    }
    Node* rest = taken->mNext;
    while (rest != nullptr) {
      Node* next = rest->mNext;
      Push(mFreeList, rest);
      rest = next;
    }
    taken->mNext = nullptr;
    return taken;
  }

  static void FreeAll(Node* node) {
    while (node != nullptr) {
      Node* next = node->mNext;
      delete node;
      node = next;
    }
  }

  Node* mActiveList = nullptr;  // touched by the render thread only
  std::atomic<Node*> mPendingList{nullptr};
  std::atomic<Node*> mFreeList{nullptr};
};

}  // namespace ausdk
