#pragma once
// Switching between virtual terminals while we hold the display: the kernel
// asks before our terminal is switched away (we then let go of the display) and
// tells when it is back (we take it again and repaint). The requests arrive as
// signals and are passed on through a pipe, so that the event loop's wait sees them.
namespace ozgi {

class cls_vt_switch {
public:
    /// What the kernel asked for.
    enum request_t { NONE, RELEASE, ACQUIRE };

    cls_vt_switch() = default;
    /// Gives the terminal back when it was taken.
    ~cls_vt_switch();
    cls_vt_switch(const cls_vt_switch&) = delete;
    cls_vt_switch& operator=(const cls_vt_switch&) = delete;

    /// Takes control of switches away from the active virtual terminal. False
    /// (and nothing changed) without one: there is then nothing to switch to.
    bool take();
    /// A descriptor readable when a request waits (-1 when not taken).
    int fd() const;
    /// The next request, without blocking; NONE when there is none.
    request_t next_request();
    /// Lets the pending switch away go ahead (after the display was let go of).
    void allow_release();
    /// Confirms that the terminal is ours again.
    void confirm_acquire();
    /// Puts the terminal's switching back as take() found it.
    void give_back();

private:
    int m_tty = -1;
    int m_old_mode = 0;
    bool m_taken = false;
};

} // namespace ozgi
