#include <gtest/gtest.h>

#include <limits.h>
#include <pthread.h>

#include <string>

#include "fatal_matcher.h"
#include "ozgi/cls_tree.h"

using namespace ozgi;
using core_test::fatal_line;
using testing::ExitedWithCode;

namespace {

typedef cls_tree<cls_string> tree_t;
typedef tree_t::node_t node_t;

// Counts the instances alive, so that a test can tell every node's data was destroyed.
struct counted_t {
    static long alive;
    int value;
    explicit counted_t(int v) : value(v) { ++alive; }
    counted_t(const counted_t& other) : value(other.value) { ++alive; }
    counted_t& operator=(const counted_t& other) {
        value = other.value;
        return *this;
    }
    ~counted_t() { --alive; }
};
long counted_t::alive = 0;

// A data type that prints itself through if_to_string, as the menu tree's nodes do.
struct menu_like_t : if_to_string {
    cls_string name;
    bool is_exec;
    menu_like_t(const char* n, bool e) : name(n), is_exec(e) {}
    cls_sp<cls_string> to_string() const override {
        cls_string* s = OZGI_NEW(cls_string)();
        s->print("%s,%s", name.c_str(), is_exec ? "exec" : "dir");
        return cls_sp<cls_string>(s);
    }
};

// Runs `body(arg)` on a thread whose stack is only 64 KiB, far too small for a
// recursion as deep as the trees the body walks. Some architectures refuse
// stacks that small (aarch64 wants at least 128 KiB): there the least allowed
// size is used.
void run_on_small_stack(void* (*body)(void*), void* arg) {
    size_t size = 64 * 1024;
    if (size < static_cast<size_t>(PTHREAD_STACK_MIN)) size = PTHREAD_STACK_MIN;
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, size), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attr, body, arg), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attr);
}

} // namespace

TEST(core_tree, renders_root_with_two_children_and_a_grandchild) {
    tree_t t;
    t.set_root_data("R");
    node_t* a = t.add_last_child(t.root(), "A");
    t.add_last_child(a, "A1");
    t.add_last_child(t.root(), "B");
    EXPECT_STREQ(t.to_string()->c_str(), "R\n+---A\n|   L---A1\nL---B");
}

TEST(core_tree, removing_the_only_child_of_the_root_leaves_a_bare_root) {
    tree_t t;
    t.set_root_data("R");
    node_t* child = t.add_last_child(t.root(), "C");
    t.add_last_child(child, "C1");
    t.remove_sub_tree(child);
    ASSERT_NE(t.root(), nullptr);
    EXPECT_EQ(t.root()->first_child, nullptr);
    EXPECT_EQ(t.root()->last_child, nullptr);
    EXPECT_STREQ(t.to_string()->c_str(), "R");
}

TEST(core_tree, removing_the_root_empties_the_tree) {
    tree_t t;
    t.set_root_data("R");
    t.add_last_child(t.root(), "A");
    t.remove_sub_tree(t.root());
    EXPECT_EQ(t.root(), nullptr);
    EXPECT_TRUE(t.is_empty());
    EXPECT_STREQ(t.to_string()->c_str(), "(empty)");
}

TEST(core_tree, empty_tree_renders_as_empty_mark) {
    tree_t t;
    EXPECT_STREQ(t.to_string()->c_str(), "(empty)");
}

TEST(core_tree, add_last_child_to_null_is_fatal) {
    tree_t t;
    EXPECT_EXIT(t.add_last_child(nullptr, "x"), ExitedWithCode(1),
                fatal_line("cls_tree.h", "Can't add last child, the node is NULL."));
}

TEST(core_tree, remove_null_sub_tree_is_fatal) {
    tree_t t;
    t.set_root_data("R");
    EXPECT_EXIT(t.remove_sub_tree(nullptr), ExitedWithCode(1),
                fatal_line("cls_tree.h", "Can't remove sub tree, the node is NULL."));
}

TEST(core_tree, set_root_data_assigns_when_there_is_a_root) {
    tree_t t;
    t.set_root_data("first");
    node_t* root = t.root();
    t.add_last_child(root, "kid");
    t.set_root_data("second");
    EXPECT_EQ(t.root(), root);
    EXPECT_STREQ(t.to_string()->c_str(), "second\nL---kid");
}

TEST(core_tree, children_keep_insertion_order_and_links) {
    tree_t t;
    t.set_root_data("R");
    node_t* root = t.root();
    EXPECT_EQ(root->parent, nullptr);
    node_t* a = t.add_last_child(root, "A");
    node_t* b = t.add_last_child(root, "B");
    node_t* c = t.add_last_child(root, "C");
    EXPECT_EQ(root->first_child, a);
    EXPECT_EQ(root->last_child, c);
    EXPECT_EQ(a->prev_sibling, nullptr);
    EXPECT_EQ(a->next_sibling, b);
    EXPECT_EQ(b->prev_sibling, a);
    EXPECT_EQ(b->next_sibling, c);
    EXPECT_EQ(c->prev_sibling, b);
    EXPECT_EQ(c->next_sibling, nullptr);
    EXPECT_EQ(b->parent, root);
    EXPECT_STREQ(b->data.c_str(), "B");
    EXPECT_EQ(a->first_child, nullptr);
    EXPECT_EQ(a->last_child, nullptr);
}

TEST(core_tree, removing_a_middle_child_joins_its_neighbours) {
    tree_t t;
    t.set_root_data("R");
    node_t* a = t.add_last_child(t.root(), "A");
    node_t* b = t.add_last_child(t.root(), "B");
    node_t* c = t.add_last_child(t.root(), "C");
    t.add_last_child(b, "B1");
    t.remove_sub_tree(b);
    EXPECT_EQ(a->next_sibling, c);
    EXPECT_EQ(c->prev_sibling, a);
    EXPECT_STREQ(t.to_string()->c_str(), "R\n+---A\nL---C");
    t.remove_sub_tree(a);
    EXPECT_EQ(t.root()->first_child, c);
    EXPECT_EQ(c->prev_sibling, nullptr);
    t.remove_sub_tree(c);
    EXPECT_STREQ(t.to_string()->c_str(), "R");
}

TEST(core_tree, columns_show_only_ancestors_with_following_siblings) {
    tree_t t;
    t.set_root_data("R");
    node_t* a = t.add_last_child(t.root(), "A");
    node_t* a1 = t.add_last_child(a, "A1");
    t.add_last_child(a1, "A1a");
    t.add_last_child(a, "A2");
    node_t* b = t.add_last_child(t.root(), "B");
    node_t* b1 = t.add_last_child(b, "B1");
    t.add_last_child(b1, "B1a");
    EXPECT_STREQ(t.to_string()->c_str(),
                 "R\n"
                 "+---A\n"
                 "|   +---A1\n"
                 "|   |   L---A1a\n"
                 "|   L---A2\n"
                 "L---B\n"
                 "    L---B1\n"
                 "        L---B1a");
}

TEST(core_tree, node_text_comes_from_the_data_to_string) {
    cls_tree<menu_like_t> t;
    t.set_root_data(menu_like_t("root", false));
    t.add_last_child(t.root(), menu_like_t("run_me", true));
    EXPECT_STREQ(t.to_string()->c_str(), "root,dir\nL---run_me,exec");
}

TEST(core_tree, destruction_destroys_every_node_data) {
    counted_t::alive = 0;
    {
        cls_tree<counted_t> t;
        t.set_root_data(counted_t(0));
        cls_tree<counted_t>::node_t* n = t.add_last_child(t.root(), counted_t(1));
        t.add_last_child(n, counted_t(2));
        t.add_last_child(t.root(), counted_t(3));
        EXPECT_EQ(counted_t::alive, 4);
        t.remove_sub_tree(n);
        EXPECT_EQ(counted_t::alive, 2);
    }
    EXPECT_EQ(counted_t::alive, 0);
}

TEST(core_tree, chain_of_a_million_nodes_is_destroyed_without_recursion) {
    counted_t::alive = 0;
    const int depth = 1000000;
    {
        cls_tree<counted_t> t;
        t.set_root_data(counted_t(0));
        cls_tree<counted_t>::node_t* n = t.root();
        for (int i = 1; i < depth; ++i) n = t.add_last_child(n, counted_t(i));
        EXPECT_EQ(n->data.value, depth - 1);
        EXPECT_EQ(counted_t::alive, depth);
    }
    EXPECT_EQ(counted_t::alive, 0);
}

namespace {

struct deep_chain_job_t {
    int depth;
    std::string text;
    bool removed;
};

void* print_and_remove_deep_chain(void* arg) {
    deep_chain_job_t* job = static_cast<deep_chain_job_t*>(arg);
    tree_t t;
    t.set_root_data("n");
    node_t* n = t.root();
    for (int i = 1; i < job->depth; ++i) n = t.add_last_child(n, "n");
    job->text = t.to_string()->c_str();
    // Remove from the first child down, so the walk has the whole chain to itself.
    t.remove_sub_tree(t.root()->first_child);
    job->removed = t.root()->first_child == nullptr;
    return nullptr;
}

} // namespace

TEST(core_tree, deep_chain_prints_and_is_removed_on_a_small_stack) {
    deep_chain_job_t job{3000, std::string(), false};
    run_on_small_stack(print_and_remove_deep_chain, &job);
    // Line k (k >= 1) is k-1 blank columns, "L---" and the text.
    std::string expected = "n";
    for (int k = 1; k < job.depth; ++k) {
        expected += "\n";
        for (int c = 1; c < k; ++c) expected += "    ";
        expected += "L---n";
    }
    EXPECT_EQ(job.text.size(), expected.size());
    EXPECT_TRUE(job.text == expected);
    EXPECT_TRUE(job.removed);
}

namespace {

void* destroy_long_chain(void* arg) {
    long* alive_after = static_cast<long*>(arg);
    {
        cls_tree<counted_t> t;
        t.set_root_data(counted_t(0));
        cls_tree<counted_t>::node_t* n = t.root();
        for (int i = 1; i < 200000; ++i) n = t.add_last_child(n, counted_t(i));
    }
    *alive_after = counted_t::alive;
    return nullptr;
}

} // namespace

TEST(core_tree, long_chain_is_destroyed_on_a_small_stack) {
    counted_t::alive = 0;
    long alive_after = -1;
    run_on_small_stack(destroy_long_chain, &alive_after);
    EXPECT_EQ(alive_after, 0);
}

TEST(core_tree, wide_tree_prints_every_child) {
    tree_t t;
    t.set_root_data("R");
    for (int i = 0; i < 1000; ++i) {
        cls_string s;
        s.print("c%d", i);
        t.add_last_child(t.root(), s);
    }
    std::string text = t.to_string()->c_str();
    EXPECT_EQ(text.rfind("+---c998\nL---c999"), text.size() - 17);
    EXPECT_EQ(text.compare(0, 10, "R\n+---c0\n+"), 0);
}
