#pragma once
// The few kernel mode-setting calls the DRM backend makes, behind an interface
// so that its choices (card, connector, mode, format) and its double-buffered
// damage tracking can be tested without a display.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ozgi/cls_string.h"

namespace ozgi {

class if_drm_device {
public:
    /// One display mode of a connector.
    struct mode_t {
        int width = 0;
        int height = 0;
        int refresh_hz = 0;
        /// The mode the panel says suits it best.
        bool preferred = false;
        /// The mode's place in the device's own list of the connector's modes.
        int index = 0;
    };
    /// One connector (an output such as "HDMI-A-1" or "DSI-1").
    struct connector_t {
        uint32_t id = 0;
        cls_string name;
        bool connected = false;
        std::vector<mode_t> modes;
        /// The CRTC that can drive it (0: none).
        uint32_t crtc = 0;
    };
    /// A dumb buffer made into a framebuffer, mapped into memory.
    struct buffer_t {
        uint32_t fb = 0;
        uint32_t handle = 0;
        int pitch = 0;
        unsigned char* pixels = nullptr;
        size_t size = 0;
    };
    /// How taking the display went.
    enum master_t { MASTER_TAKEN, MASTER_BUSY, MASTER_DENIED };

    /// The two pixel formats drawn into (the kernel's four-character codes).
    static constexpr uint32_t XRGB8888 = 'X' | 'R' << 8 | '2' << 16 | static_cast<uint32_t>('4') << 24;
    static constexpr uint32_t RGB565 = 'R' | 'G' << 8 | '1' << 16 | static_cast<uint32_t>('6') << 24;

    virtual ~if_drm_device() = default;
    /// The card devices there are ("/dev/dri/card0", ...), in order.
    virtual std::vector<cls_string> cards() = 0;
    /// Opens the card `path`; false with the reason.
    virtual bool open(const cls_string& path, cls_string* error) = 0;
    /// The open card's descriptor, readable when a page flip completed (-1: none).
    virtual int fd() const = 0;
    /// The card's connectors, with a CRTC chosen for each; false with the reason.
    virtual bool connectors(std::vector<connector_t>* out, cls_string* error) = 0;
    /// Becomes the display's master (the one program that may set modes).
    virtual master_t take_master() = 0;
    /// Lets go of being master (while another terminal shows).
    virtual void drop_master() = 0;
    /// Who holds the master role, when that can be known ("weston (pid 412)"); empty otherwise.
    virtual cls_string master_holder(const cls_string& path) = 0;
    /// Makes a `width` x `height` buffer of the pixel format `fourcc`, mapped; false with the reason.
    virtual bool create_buffer(int width, int height, uint32_t fourcc, buffer_t* out, cls_string* error) = 0;
    /// Frees a buffer made by create_buffer.
    virtual void destroy_buffer(buffer_t* buffer) = 0;
    /// Shows framebuffer `fb` on `crtc` driving `connector` in `mode` at once; false with the reason.
    virtual bool set_crtc(uint32_t crtc, uint32_t fb, uint32_t connector, const mode_t& mode, cls_string* error) = 0;
    /// Asks for framebuffer `fb` to be shown at the next vertical blank; its
    /// completion makes fd() readable. False when the flip cannot be made.
    virtual bool page_flip(uint32_t crtc, uint32_t fb) = 0;
    /// Reads the events waiting on fd(); returns how many flips completed.
    virtual int read_flips() = 0;
    /// Puts back what `crtc` showed before set_crtc first changed it, then closes the card.
    virtual void close() = 0;
};

} // namespace ozgi
