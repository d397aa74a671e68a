#pragma once
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_file {
public:
    /// Whether anything (file or directory) exists at `path`, links followed.
    static bool file_exists(const cls_string& path);
    /// The whole file as text; null when it cannot be read.
    static cls_sp<cls_string> read_to_str(const cls_string& path);
    /// Writes `text` to `path`, replacing it. Returns false on failure.
    static bool write_str(const cls_string& path, const cls_string& text);
    /// Appends `text` to `path` (created with mode 0644 when missing) with a single
    /// write on a descriptor opened with O_APPEND, so that lines appended by
    /// several programs to one file never interleave. Returns false (with the
    /// reason in `why`, if not null) when the file cannot be opened or the write
    /// is refused or short.
    static bool append_whole(const cls_string& path, const cls_string& text, cls_string* why);
    /// Creates a new empty file with a unique name in `dir` and returns its path
    /// (`dir` joined with the name); empty when it cannot be created.
    static cls_string create_temp_file(const cls_string& dir);
    /// Removes a file or an empty directory (recursive true: also a directory with
    /// its contents; links are removed, never followed). True on success.
    static bool remove(const cls_string& path, bool recursive);
    /// The entries of `dir` as openable paths (`dir` + "/" + name, or `dir` + name when
    /// `dir` ends with "/"), without "." and "..", hidden entries included, in the
    /// order the directory gives them. `pattern` (a shell wildcard; empty for all)
    /// filters names; recursive lists sub-directories too; files_only/dirs_only filter types.
    static cls_sp<cls_array<cls_string>> list_file(const cls_string& dir, const cls_string& pattern, bool recursive,
                                                   bool files_only, bool dirs_only);
};

} // namespace ozgi
