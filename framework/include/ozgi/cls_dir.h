#pragma once
// One directory level read in one pass: the names with their types, each typed
// by at most one query relative to the open directory, so that a large menu
// costs little more than the kernel's own listing.
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_dir {
public:
    /// Where a directory lives: its device and inode. Two paths with the same
    /// identity are the same directory (reached through a link, for example).
    struct id_t {
        unsigned long long dev;
        unsigned long long ino;
        bool operator==(const id_t& o) const { return dev == o.dev && ino == o.ino; }
        bool operator!=(const id_t& o) const { return !(*this == o); }
    };
    /// One entry: its name and what it is once links are followed.
    struct entry_t {
        cls_string name;
        /// A directory (also through a link).
        bool is_dir;
        /// A regular file this process may run (what access(X_OK) would say).
        bool is_exec;
    };

    /// Reads `path` (links followed; empty: the working directory): its own
    /// identity into `self` and its entries, without "." and "..", in the order
    /// the directory gives them, into `out`. An entry that cannot be queried (a
    /// dangling link), and anything that is neither a directory nor a regular file
    /// (a pipe, a socket, a device), is neither a directory nor executable. False, with nothing
    /// read, when the directory cannot be opened.
    static bool read(const cls_string& path, id_t* self, cls_array<entry_t>* out);
};

} // namespace ozgi
