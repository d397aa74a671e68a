#include "ozgi/cls_dir.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace ozgi {

namespace {

// What decides whether this process may run a file, gathered once per directory.
struct exec_ctx_t {
    int dir_fd;
    dev_t dev;
    bool noexec;
    uid_t uid;
};

// What access(X_OK) would answer for the regular file `name` with status `st`,
// without asking the kernel again where the mode bits settle it: the owner's bit
// for the owner, any bit for root (who may run anything with one). Files owned by
// others (groups, access lists) and files on another mount are asked about.
bool may_exec(const exec_ctx_t& ctx, const char* name, const struct stat& st) {
    if ((st.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) return false;
    if (st.st_dev != ctx.dev) return ::faccessat(ctx.dir_fd, name, X_OK, 0) == 0;
    if (ctx.noexec) return false;
    if (ctx.uid == 0) return true;
    if (st.st_uid == ctx.uid) return (st.st_mode & S_IXUSR) != 0;
    return ::faccessat(ctx.dir_fd, name, X_OK, 0) == 0;
}

} // namespace

/// Reads one directory level; see the header.
bool cls_dir::read(const cls_string& path, id_t* self, cls_array<entry_t>* out) {
    int fd = ::open(path.is_empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat dir_st;
    DIR* d = nullptr;
    if (::fstat(fd, &dir_st) != 0 || (d = ::fdopendir(fd)) == nullptr) {
        ::close(fd);
        return false;
    }
    self->dev = static_cast<unsigned long long>(dir_st.st_dev);
    self->ino = static_cast<unsigned long long>(dir_st.st_ino);
    struct statvfs vfs;
    exec_ctx_t ctx{fd, dir_st.st_dev, ::fstatvfs(fd, &vfs) == 0 && (vfs.f_flag & ST_NOEXEC) != 0, ::getuid()};
    while (struct dirent* e = ::readdir(d)) {
        const char* n = e->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))) continue;
        bool is_dir = false;
        bool is_exec = false;
        switch (e->d_type) {
        case DT_DIR: is_dir = true; break;
        case DT_REG:
        case DT_LNK:
        case DT_UNKNOWN: {
            // One query per entry, relative to the open directory, links followed.
            struct stat st;
            if (::fstatat(fd, n, &st, 0) != 0) break;
            if (S_ISDIR(st.st_mode)) is_dir = true;
            else if (S_ISREG(st.st_mode)) is_exec = may_exec(ctx, n, st);
            break;
        }
        default: break;  // Pipes, sockets and devices are never tests.
        }
        out->append(entry_t{cls_string(n), is_dir, is_exec});
    }
    ::closedir(d);
    return true;
}

} // namespace ozgi
