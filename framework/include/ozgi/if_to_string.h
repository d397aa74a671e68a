#pragma once
#include "ozgi/cls_sp.h"

namespace ozgi {

class cls_string;

/// Something that can describe itself as text.
class if_to_string {
public:
    virtual ~if_to_string() {}
    /// A new string holding the object's text form.
    virtual cls_sp<cls_string> to_string() const = 0;
};

/// A record that can be written to and read back from text.
class if_serialize {
public:
    virtual ~if_serialize() {}
    /// Appends the record's text form to `out`.
    virtual void serialize(cls_string* out) const = 0;
    /// Reads the record from `text`; returns false when the text is not one.
    virtual bool deserialize(const cls_string& text) = 0;
};

} // namespace ozgi
