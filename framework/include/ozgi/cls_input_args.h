#pragma once
// The process's command line. The framework reads it itself (from
// /proc/self/cmdline), so the program hands main nothing.
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_input_args {
public:
    /// The one instance, made on first use from the process's command line.
    static cls_input_args* ins();
    /// whole true: an argument equal to `name` exists. whole false: an argument that
    /// begins with `name` exists, and the text after it goes to `value` (if not null).
    /// The first matching argument wins.
    bool has_arg(const cls_string& name, bool whole, cls_string* value = nullptr) const;
    /// The arguments after the program name.
    const cls_array<cls_string>& args() const { return m_args; }
    /// Replaces the arguments (for tests that drive start-up in-process).
    void set_args(const cls_array<cls_string>& args);

private:
    cls_input_args();
    cls_array<cls_string> m_args;
};

} // namespace ozgi
