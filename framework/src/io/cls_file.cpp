#include "ozgi/cls_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ozgi {
namespace {

// `dir` and `name` joined so that the result opens from the working directory;
// a trailing separator on `dir` is not doubled.
cls_string join_path(const cls_string& dir, const char* name) {
    cls_string path(dir);
    if (path.is_not_empty() && !path.end_with("/")) path += '/';
    path += name;
    return path;
}

// Appends the entries of one directory (and, when asked, of the directories
// below it, each right after its own entry) to `out`.
void list_into(const cls_string& dir, const cls_string& pattern, bool recursive, bool files_only, bool dirs_only,
               cls_array<cls_string>* out) {
    DIR* d = ::opendir(dir.is_empty() ? "." : dir.c_str());
    if (!d) return;
    // The walk is finished before recursing so that a deep tree never holds
    // more than one directory stream open at a time.
    cls_array<cls_string> paths;
    cls_array<cls_string> names;
    while (struct dirent* e = ::readdir(d)) {
        const char* n = e->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))) continue;
        paths.append(join_path(dir, n));
        names.append(cls_string(n));
    }
    ::closedir(d);
    for (int i = 0; i < paths.count(); ++i) {
        const cls_string& path = paths[i];
        struct stat st;
        bool is_dir = ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
        bool wanted = pattern.is_empty() || ::fnmatch(pattern.c_str(), names[i].c_str(), 0) == 0;
        if (files_only && is_dir) wanted = false;
        if (dirs_only && !is_dir) wanted = false;
        if (wanted) out->append(path);
        if (recursive && is_dir) {
            // A symbolic link to a directory is listed but not entered, so a link
            // that points upwards cannot make the walk endless.
            struct stat lst;
            if (::lstat(path.c_str(), &lst) == 0 && S_ISDIR(lst.st_mode))
                list_into(path, pattern, recursive, files_only, dirs_only, out);
        }
    }
}

bool remove_tree(const cls_string& path) {
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    if (!S_ISDIR(st.st_mode)) return ::unlink(path.c_str()) == 0;
    cls_array<cls_string> entries;
    list_into(path, cls_string(), false, false, false, &entries);
    bool ok = true;
    for (const cls_string& e : entries) ok = remove_tree(e) && ok;
    return ::rmdir(path.c_str()) == 0 && ok;
}

} // namespace

/// Whether something (a file, a directory, ...) exists at `path`; a dangling
/// symbolic link does not count.
bool cls_file::file_exists(const cls_string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

/// Reads the whole file into a new string; null when it cannot be opened or read.
cls_sp<cls_string> cls_file::read_to_str(const cls_string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return cls_sp<cls_string>();
    cls_string* text = OZGI_NEW(cls_string)();
    struct stat st;
    // Files under /proc report a size of 0, so the size is only a hint.
    if (::fstat(fd, &st) == 0 && st.st_size > 0 && st.st_size < 0x7fffffff) text->reserve(static_cast<int>(st.st_size));
    char chunk[65536];
    for (;;) {
        ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n > 0) {
            text->append(chunk, static_cast<int>(n));
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            ::close(fd);
            ozgi_delete(text);
            return cls_sp<cls_string>();
        }
    }
    ::close(fd);
    return cls_sp<cls_string>(text);
}

/// Replaces the file's contents with `text`, creating it when needed.
bool cls_file::write_str(const cls_string& path, const cls_string& text) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    const char* p = text.c_str();
    int left = text.length();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            return false;
        }
        p += n;
        left -= static_cast<int>(n);
    }
    return ::close(fd) == 0;
}

/// Creates a new empty file named "vesk_" plus six unique characters in `dir`
/// (empty: the working directory) and returns its path; empty on failure.
cls_string cls_file::create_temp_file(const cls_string& dir) {
    cls_string path = join_path(dir.is_empty() ? cls_string("./") : dir, "vesk_XXXXXX");
    int fd = ::mkostemp(path.data(), O_CLOEXEC);
    if (fd < 0) return cls_string();
    ::close(fd);
    return path;
}

/// Removes a file or an empty directory; with `recursive`, also a directory and
/// everything in it (symbolic links are removed, never followed). True when the
/// path no longer exists afterwards because of this call.
bool cls_file::remove(const cls_string& path, bool recursive) {
    if (recursive) return remove_tree(path);
    return ::remove(path.c_str()) == 0;
}

/// Lists `dir` as described in the header; an unreadable directory gives an
/// empty array, never null.
/// One open(O_APPEND), one write(), one close(); a short write is a failure.
bool cls_file::append_whole(const cls_string& path, const cls_string& text, cls_string* why) {
    int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        if (why) *why = std::strerror(errno);
        return false;
    }
    ssize_t n;
    do {
        n = ::write(fd, text.c_str(), static_cast<size_t>(text.length()));
    } while (n < 0 && errno == EINTR);
    int write_errno = errno;
    ::close(fd);
    if (n == text.length()) return true;
    if (why) *why = n < 0 ? std::strerror(write_errno) : "short write";
    return false;
}

cls_sp<cls_array<cls_string>> cls_file::list_file(const cls_string& dir, const cls_string& pattern, bool recursive,
                                                  bool files_only, bool dirs_only) {
    cls_array<cls_string>* out = OZGI_NEW(cls_array<cls_string>)();
    list_into(dir, pattern, recursive, files_only, dirs_only, out);
    return cls_sp<cls_array<cls_string>>(out);
}

} // namespace ozgi
