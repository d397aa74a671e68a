#include "devices/if_vesk_device.h"

#include "ozgi/cls_mem_mgr.h"
#include "ozgi/if_system.h"

using ozgi::cls_sp;
using ozgi::cls_string;

if_vesk_device::menu_node_t::menu_node_t() : name(), is_exec(false) {}

if_vesk_device::menu_node_t::menu_node_t(const cls_string& node_name, bool exec) : name(node_name), is_exec(exec) {}

if_vesk_device::menu_node_t::menu_node_t(const menu_node_t& other) : ozgi::if_to_string(), name(other.name), is_exec(other.is_exec) {}

if_vesk_device::menu_node_t& if_vesk_device::menu_node_t::operator=(const menu_node_t& other) {
    name = other.name;
    is_exec = other.is_exec;
    return *this;
}

if_vesk_device::menu_node_t::~menu_node_t() {}

cls_sp<cls_string> if_vesk_device::menu_node_t::to_string() const {
    cls_string* text = OZGI_NEW(cls_string)();
    text->print("%s,%s", name.c_str(), is_exec ? "exec" : "dir");
    return cls_sp<cls_string>(text);
}

if_vesk_device::~if_vesk_device() {}

const char* const if_vesk_device::LOCAL_SERIAL_ID = "LOCAL_DEVICE";

const char* if_vesk_device::kind_name(kind_t kind) { return kind == KIND_ADB ? "adb" : "local"; }

const char* if_vesk_device::default_root(kind_t kind) { return kind == KIND_ADB ? "/dfs/vesk/" : "./"; }

cls_string if_vesk_device::serial_id_from_env() {
    cls_sp<cls_string> from_env = ozgi::if_system::env("ANDROID_SERIAL");
    return from_env.is_null() ? cls_string() : *from_env;
}
