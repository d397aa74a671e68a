#pragma once
// An ordered tree. Removal and printing walk with an explicit stack, never by
// recursion, so a deep chain cannot overflow the call stack.
#include <new>
#include "ozgi/cls_array.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_string.h"
#include "ozgi/if_to_string.h"

namespace ozgi {

template <typename T>
class cls_tree : public if_to_string {
public:
    /// One node: its data and its links, null when absent.
    struct node_t {
        T data;
        node_t* next_sibling;
        node_t* prev_sibling;
        node_t* parent;
        node_t* first_child;
        node_t* last_child;
        /// A node holding a copy of `d`, with no links.
        explicit node_t(const T& d)
            : data(d), next_sibling(nullptr), prev_sibling(nullptr), parent(nullptr), first_child(nullptr), last_child(nullptr) {}
    };

    /// An empty tree.
    cls_tree() : m_root(nullptr) {}
    cls_tree(const cls_tree&) = delete;
    cls_tree& operator=(const cls_tree&) = delete;
    /// Destroys every node, without recursion.
    ~cls_tree() override {
        if (m_root) remove_sub_tree(m_root);
    }

    /// The root node, null for an empty tree.
    node_t* root() const { return m_root; }
    /// True when the tree has no root.
    bool is_empty() const { return m_root == nullptr; }

    /// Assigns the root's data, creating the root when the tree is empty.
    void set_root_data(const T& data) {
        if (m_root) m_root->data = data;
        else m_root = new_node(data);
    }

    /// Appends a new node holding a copy of `data` as the last child of `parent` and
    /// returns it. A null parent is fatal.
    node_t* add_last_child(node_t* parent, const T& data) {
        if (parent == nullptr) OZGI_FATAL("Can't add last child, the node is NULL.");
        node_t* node = new_node(data);
        node->parent = parent;
        node->prev_sibling = parent->last_child;
        if (parent->last_child) parent->last_child->next_sibling = node;
        else parent->first_child = node;
        parent->last_child = node;
        return node;
    }

    /// Unlinks `node` and destroys it with all its descendants, without recursion.
    /// Removing the root empties the tree. A null node is fatal.
    void remove_sub_tree(node_t* node) {
        if (node == nullptr) OZGI_FATAL("Can't remove sub tree, the node is NULL.");
        if (node->prev_sibling) node->prev_sibling->next_sibling = node->next_sibling;
        if (node->next_sibling) node->next_sibling->prev_sibling = node->prev_sibling;
        if (node->parent) {
            if (node->parent->first_child == node) node->parent->first_child = node->next_sibling;
            if (node->parent->last_child == node) node->parent->last_child = node->prev_sibling;
        } else {
            m_root = nullptr;
        }
        cls_array<node_t*> stack;
        stack.append(node);
        while (stack.count() > 0) {
            node_t* top = stack.last();
            stack.remove_at(stack.count() - 1);
            for (node_t* c = top->first_child; c; c = c->next_sibling) stack.append(c);
            ozgi_delete(top);
        }
    }

    /// One line per node in pre-order: branch marks ("+---", "L---", "|   ") and
    /// the data's text. An empty tree gives "(empty)".
    cls_sp<cls_string> to_string() const override {
        cls_string* out = OZGI_NEW(cls_string)();
        if (m_root == nullptr) {
            *out = "(empty)";
            return cls_sp<cls_string>(out);
        }
        // Each stack entry is a node and its depth; `open[d]` tells whether the
        // ancestor at depth d has a following sibling, which draws its "|   " column.
        struct entry_t { const node_t* node; int depth; };
        cls_array<entry_t> stack;
        cls_array<char> open;
        stack.append(entry_t{m_root, 0});
        cls_string text;
        bool first_line = true;
        while (stack.count() > 0) {
            entry_t e = stack.last();
            stack.remove_at(stack.count() - 1);
            const node_t* node = e.node;
            while (open.count() > e.depth) open.remove_at(open.count() - 1);
            open.append(node->next_sibling ? 1 : 0);
            if (!first_line) *out += "\n";
            first_line = false;
            if (e.depth > 0) {
                for (int d = 1; d < e.depth; ++d) *out += open[d] ? "|   " : "    ";
                *out += node->next_sibling ? "+---" : "L---";
            }
            text.to_str(&node->data);
            *out += text;
            for (const node_t* c = node->last_child; c; c = c->prev_sibling) stack.append(entry_t{c, e.depth + 1});
        }
        return cls_sp<cls_string>(out);
    }

private:
    static node_t* new_node(const T& data) { return OZGI_NEW(node_t)(data); }
    node_t* m_root;
};

} // namespace ozgi
