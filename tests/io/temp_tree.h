#pragma once
// A real temporary directory for one test, removed with everything in it when
// the test ends. Removal uses nftw, not the code under test.
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

class temp_tree {
public:
    temp_tree() {
        char name[] = "/tmp/vesk_io_test_XXXXXX";
        char* made = ::mkdtemp(name);
        EXPECT_NE(made, nullptr);
        m_root = made ? made : "";
    }
    ~temp_tree() {
        if (!m_root.empty()) ::nftw(m_root.c_str(), remove_one, 16, FTW_DEPTH | FTW_PHYS);
    }
    temp_tree(const temp_tree&) = delete;
    temp_tree& operator=(const temp_tree&) = delete;

    /// The directory itself (no trailing separator).
    const std::string& root() const { return m_root; }
    /// The absolute path of `rel` inside the directory.
    std::string path(const std::string& rel) const { return m_root + "/" + rel; }

    /// Creates a file with `text` and the given mode.
    std::string file(const std::string& rel, const std::string& text, mode_t mode = 0644) const {
        std::string p = path(rel);
        FILE* f = ::fopen(p.c_str(), "wb");
        EXPECT_NE(f, nullptr) << p;
        if (f) {
            ::fwrite(text.data(), 1, text.size(), f);
            ::fclose(f);
        }
        ::chmod(p.c_str(), mode);
        return p;
    }
    /// Creates an executable shell script with `body` after the "#!/bin/sh" line.
    std::string script(const std::string& rel, const std::string& body) const {
        return file(rel, "#!/bin/sh\n" + body, 0755);
    }
    /// Creates a directory with the given mode.
    std::string dir(const std::string& rel, mode_t mode = 0755) const {
        std::string p = path(rel);
        EXPECT_EQ(::mkdir(p.c_str(), mode), 0) << p;
        ::chmod(p.c_str(), mode);
        return p;
    }

private:
    static int remove_one(const char* p, const struct stat*, int, struct FTW*) {
        ::remove(p);
        return 0;
    }
    std::string m_root;
};
