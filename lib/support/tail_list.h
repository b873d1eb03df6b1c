#pragma once

// Singly linked lists with a tail link: members, elements and attributes are all lists of this one
// kind. The head and the tail link live in the owner's record; the links are the nodes' `next`.

namespace vesk {

/// The nodes from one on, for range-for.
template <typename Node>
class Nodes {
 public:
  class Iterator {
   public:
    explicit Iterator(Node* node) : node_(node) {}
    Node& operator*() const { return *node_; }
    Iterator& operator++() {
      node_ = node_->next;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return node_ != other.node_; }

   private:
    Node* node_;
  };

  explicit Nodes(Node* first) : first_(first) {}
  Iterator begin() const { return Iterator(first_); }
  Iterator end() const { return Iterator(nullptr); }

 private:
  Node* first_;
};

/// The operations of one list. The tail link is where the next node is linked when it is appended:
/// the head itself while the list is empty, otherwise the `next` of the last node.
template <typename Node>
class TailList {
 public:
  TailList(Node*& head, Node**& tail) : head_(head), tail_(tail) {}

  void init() {
    head_ = nullptr;
    tail_ = &head_;
  }

  void append(Node& node) {
    node.next = nullptr;
    *tail_ = &node;
    tail_ = &node.next;
  }

  /// Puts a node behind another one, or first if that is null.
  void insert_after(Node* previous, Node& node) {
    Node*& link = previous == nullptr ? head_ : previous->next;
    node.next = link;
    link = &node;
    if (node.next == nullptr) tail_ = &node.next;
  }

  /// Takes the first node out; null if there is none.
  Node* take_first() {
    Node* const first = head_;
    if (first != nullptr) take_at(head_);
    return first;
  }

  /// Takes out a node that is in the list. Its `next` stays as it is.
  void unlink(const Node& node) {
    Node** link = &head_;
    while (*link != &node) link = &(*link)->next;
    take_at(*link);
  }

 private:
  void take_at(Node*& link) {
    link = link->next;
    if (link == nullptr) tail_ = &link;
  }

  Node*& head_;
  Node**& tail_;
};

}  // namespace vesk
