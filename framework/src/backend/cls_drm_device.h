#pragma once
// The kernel's mode-setting interface through its own ioctls (the uapi headers
// drm.h and drm_mode.h), without libdrm: the backend needs a dozen calls, and
// making them directly keeps the program free of any library for its screen.
#include "backend/if_drm_device.h"

namespace ozgi {

class cls_drm_device : public if_drm_device {
public:
    cls_drm_device() = default;
    ~cls_drm_device() override;
    cls_drm_device(const cls_drm_device&) = delete;
    cls_drm_device& operator=(const cls_drm_device&) = delete;

    std::vector<cls_string> cards() override;
    bool open(const cls_string& path, cls_string* error) override;
    int fd() const override { return m_fd; }
    bool connectors(std::vector<connector_t>* out, cls_string* error) override;
    master_t take_master() override;
    void drop_master() override;
    cls_string master_holder(const cls_string& path) override;
    bool create_buffer(int width, int height, uint32_t fourcc, buffer_t* out, cls_string* error) override;
    void destroy_buffer(buffer_t* buffer) override;
    bool set_crtc(uint32_t crtc, uint32_t fb, uint32_t connector, const mode_t& mode, cls_string* error) override;
    bool page_flip(uint32_t crtc, uint32_t fb) override;
    int read_flips() override;
    void close() override;

private:
    /// The kernel's records of the modes of each connector, by connector id.
    struct saved_modes_t;
    /// What a CRTC showed before we changed it.
    struct saved_crtc_t;

    int m_fd = -1;
    std::vector<saved_modes_t*> m_modes;
    saved_crtc_t* m_saved = nullptr;
};

} // namespace ozgi
