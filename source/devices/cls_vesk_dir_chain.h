#pragma once
// The directories on the way down from the menu root to the one being read,
// by identity (device and inode). A directory that is already on the way is
// reached again through a symbolic link: entering it would make a walk
// endless. The local device's scan and "vesk-cli check" both ask this.
#include "ozgi/cls_array.h"
#include "ozgi/cls_dir.h"

class cls_vesk_dir_chain {
public:
    /// Enters the directory `id` and returns true; returns false, entering
    /// nothing, when it is already on the way down (a loop).
    bool enter(const ozgi::cls_dir::id_t& id);
    /// Leaves the directory entered last.
    void leave();

private:
    ozgi::cls_array<ozgi::cls_dir::id_t> m_ids;
};
