#include "devices/if_vesk_device.h"

#include "ozgi/cls_mem_mgr.h"

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
