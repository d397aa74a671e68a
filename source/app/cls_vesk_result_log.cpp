#include "app/cls_vesk_result_log.h"

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_file.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_singleton_mgr.h"
#include "ozgi/if_system.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {
cls_vesk_result_log* s_log = nullptr;
} // namespace

cls_vesk_result_log* cls_vesk_result_log::ins() {
    if (s_log == nullptr) {
        s_log = OZGI_NEW(cls_vesk_result_log)();
        ozgi::cls_singleton_mgr::register_singleton_release(release_func, s_log);
    }
    return s_log;
}

void cls_vesk_result_log::release_func(void* p) {
    if (p == nullptr || p != s_log) return;
    cls_vesk_result_log* log = s_log;
    s_log = nullptr;
    ozgi::ozgi_delete(log);
}

cls_vesk_result_log::cls_vesk_result_log() : m_running(false), m_failure_reported(false) {
    cls_sp<cls_string> path = ozgi::if_system::env("VESK_RESULT_LOG");
    if (path.is_not_null()) m_path = *path;
}

void cls_vesk_result_log::run_started() {
    m_reader_dropped = 0;
    if (!enabled()) return;
    cls_vesk_device* device = cls_vesk_device::ins();

    // The path below the menu root, as the device is given it to run.
    cls_string test = *device->exec_name();
    if (device->is_direct_exec()) test = cls_string(cls_vesk_device::DIRECT_EXEC_PREFIX) + test;
    for (const cls_vesk_device::menu_tree_node_t* node = device->cur_node(); node && node->parent; node = node->parent)
        test = node->data.name + "/" + test;

    cls_array<cls_vesk_device::arg_info_t> args;
    device->get_args(&args);
    cls_array<cls_string> words;
    cls_vesk_device::arg_words(args, &words);

    if_vesk_device* target = device->device();
    m_record.begin(if_vesk_device::kind_name(target->kind()), target->serial_id(), test, words);
    m_running = true;
}

void cls_vesk_result_log::run_output(const cls_string& piece) {
    if (m_running) m_record.add_output(piece);
}

void cls_vesk_result_log::run_output(const cls_string& piece, long long reader_dropped) {
    if (m_running) m_record.skip_output(reader_dropped - m_reader_dropped);
    m_reader_dropped = reader_dropped;
    run_output(piece);
}

void cls_vesk_result_log::run_ended(int exit_code) {
    if (!m_running) return;
    m_running = false;
    m_record.finish(exit_code, cls_vesk_run_record::result_of_run(exit_code, false));
    cls_string why;
    if (ozgi::cls_file::append_whole(m_path, m_record.to_json(), &why) || m_failure_reported) return;
    m_failure_reported = true;
    ozgi::cls_log::log_warning("Can't write the result log %s: %s", m_path.c_str(), why.c_str());
}
